// SPDX-License-Identifier: MIT
//
// What is done to the machines of many VLANs at once, as byte maps (base/byte_map.h): events, and
// which machines something is to be done for. Each is defined by the functions of the single step.
#pragma once

#include "daemon/base/byte_map.h"
#include "daemon/fsm/transition.h"

/// One event on active machines; the others stay as they are.
template <u32 Event, MvrpProtocol Protocol>
inline constexpr MvrpByteMap kMvrpActiveEventMap = mvrpByteMap([](u8 machine) {
    return mvrpVlanActive(machine) ? mvrpMachineAfter(machine, Event, Protocol) : machine;
});

/// The join of another port: PROPAGATE-BIT, and the Join event on a machine that begins if it was
/// idle.
template <u32 Event, MvrpProtocol Protocol>
inline constexpr MvrpByteMap kMvrpJoinMap = mvrpByteMap([](u8 machine) {
    if (!mvrpVlanActive(machine))
        machine = mvrpMachineBegin(MVRP_MACHINE_DYNAMIC);
    mvrpBitSet(&machine, MVRP_PROPAGATE_BIT);
    return mvrpMachineAfter(machine, Event, Protocol);
});

/// The leave of another port: PROPAGATE-BIT goes, then the Leave event.
template <u32 Event, MvrpProtocol Protocol>
inline constexpr MvrpByteMap kMvrpLeaveMap = mvrpByteMap([](u8 machine) {
    mvrpBitClear(&machine, MVRP_PROPAGATE_BIT);
    return mvrpMachineAfter(machine, Event, Protocol);
});

/// A join that several VLANs of one PDU cause may be noted once and applied once.
template <u32 Event, MvrpProtocol Protocol>
constexpr bool mvrpJoinRepeats() {
    const MvrpByteTable& after = kMvrpJoinMap<Event, Protocol>.table;
    for (const u8 machine : after)
        if (after[machine] != machine)
            return false;
    return true;
}
static_assert(mvrpJoinRepeats<MVRP_EVENT_JOIN, MVRP_PROTOCOL_MVRP>());
static_assert(mvrpJoinRepeats<GVRP_EVENT_JOIN, MVRP_PROTOCOL_GVRP>());

inline constexpr MvrpByteMarks kMvrpActiveMachines = mvrpByteMarks(mvrpVlanActive);

/// Machines that an expired leave timer acts on: registrations that nobody took back, and
/// registrars that are empty under a REG-BIT.
inline constexpr MvrpByteMarks kMvrpExpiringMachines = mvrpByteMarks([](u8 machine) {
    const u32 registrar = mvrpRegistrar(machine);
    return mvrpVlanActive(machine) &&
           (registrar == REG_STATE_LV ||
            (registrar == REG_STATE_MT && mvrpBitTest(&machine, MVRP_REG_BIT) != 0));
});
