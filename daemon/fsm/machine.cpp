// SPDX-License-Identifier: MIT
#include "daemon/fsm/machine.h"

#include <array>

#include "daemon/fsm/transition.h"

namespace {

/// GVRP row of each received attribute event: LeaveAll, JoinEmpty, JoinIn, LeaveEmpty, LeaveIn,
/// Empty.
constexpr std::array<u32, 6> kGidEvents = {
    GVRP_EVENT_R_LEAVE_ALL,   GVRP_EVENT_R_JOIN_EMPTY, GVRP_EVENT_R_JOIN_IN,
    GVRP_EVENT_R_LEAVE_EMPTY, GVRP_EVENT_R_LEAVE_IN,   GVRP_EVENT_R_EMPTY,
};

}  // namespace

void mvrpFsmInit(u8* machine, u32 kind) {
    *machine = mvrpMachineBegin(kind);
}

u8 mvrpFsmChange(u8* machine, u32 event, u32 protocol) {
    *machine = mvrpMachineAfter(*machine, event, protocol);
    return *machine;
}

u32 mvrpAttributeEventToGidEvent(u32 attributeEvent) {
    return attributeEvent < kGidEvents.size() ? kGidEvents[attributeEvent]
                                              : u32{GVRP_EVENT_LEAVE_TIMER};
}
