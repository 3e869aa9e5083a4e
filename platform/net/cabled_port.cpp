// SPDX-License-Identifier: MIT
#include "platform/net/cabled_port.h"

namespace platform {

void countDrop(PortCountersRecord& counters, DropReason reason) {
    switch (reason) {
        case DropReason::None:
            break;
        case DropReason::OtherGroup:
        case DropReason::OtherType:
        case DropReason::Tagged:
            ++counters.ignored;
            break;
        case DropReason::TooShort:
        case DropReason::TooLong:
        case DropReason::BadLength:
        case DropReason::BadPdu:
        case DropReason::NoVector:
            ++counters.droppedMalformed;
            break;
        case DropReason::OverBudget:
            ++counters.droppedBudget;
            break;
    }
}

void countDelivery(PortCountersRecord& counters, Delivery outcome, std::size_t bytes) {
    switch (outcome) {
        case Delivery::Delivered:
            ++counters.framesIn;
            counters.bytesIn += bytes;
            break;
        case Delivery::Tunnel:
            ++counters.droppedTunnel;
            break;
        case Delivery::Overflow:
            ++counters.droppedOverflow;
            break;
        case Delivery::NoSocket:
            ++counters.droppedDisabled;
            break;
    }
}

}  // namespace platform
