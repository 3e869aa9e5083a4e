// SPDX-License-Identifier: MIT
#include "platform/host/port_settings.h"

#include "platform/contract/management.h"

namespace platform {
std::optional<ChangedSetting> changedSetting(const RequestHeader& done) {
    switch (static_cast<Request>(done.request)) {
        case Request::ScalarSet:
        case Request::ScalarSync:
            if (done.attribute == MVRP_SCALAR_ENABLE)
                return ChangedSetting::Enable;
            break;
        case Request::PortSet:
        case Request::PortSync:
            if (done.attribute == MVRP_PORT_ENABLE)
                return ChangedSetting::PortEnable;
            if (done.attribute == MVRP_PORT_JOIN_TIMEOUT ||
                done.attribute == MVRP_PORT_LEAVE_TIMEOUT)
                return ChangedSetting::PortTimes;
            break;
        default:
            break;
    }
    return std::nullopt;
}

bool isMvrpOn(const Dispatcher& dispatcher) {
    u32 value = MVRP_OFF;
    return dispatcher.callNumber(Request::ScalarGet, 0, MVRP_SCALAR_ENABLE, value) == kStatusOk &&
           value == MVRP_ON;
}

bool PortTimes::areTheDaemons() const {
    return joinMs == kMvrpJoinTime.initial && leaveMs == kMvrpLeaveTime.initial &&
           leaveAllMs == kMvrpLeaveAllTime.initial;
}

std::optional<PortTimes> timesOf(const Dispatcher& dispatcher, u32 unit) {
    PortTimes times{};
    const auto read = [&](u32 attribute, u32& value) {
        return dispatcher.callNumber(Request::PortGet, unit, attribute, value) == kStatusOk;
    };
    if (read(MVRP_PORT_JOIN_TIMEOUT, times.joinMs) &&
        read(MVRP_PORT_LEAVE_TIMEOUT, times.leaveMs) &&
        read(MVRP_PORT_LEAVE_ALL_TIMEOUT, times.leaveAllMs))
        return times;
    return std::nullopt;
}

}  // namespace platform
