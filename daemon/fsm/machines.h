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

/// Registered because somebody behind the port declares it: REG-BIT, and a registrar that is not
/// fixed.
constexpr bool mvrpRegisteredHere(u8 machine) {
    return mvrpBitTest(&machine, MVRP_REG_BIT) != 0 && mvrpRegistrar(machine) != REG_STATE_INF;
}
inline constexpr MvrpByteMarks kMvrpRegisteredMachines = mvrpByteMarks(mvrpRegisteredHere);

inline constexpr MvrpByteMarks kMvrpFixedMachines =
    mvrpByteMarks([](u8 machine) { return mvrpRegistrar(machine) == REG_STATE_INF; });
inline constexpr MvrpByteMarks kMvrpPropagatedMachines =
    mvrpByteMarks([](u8 machine) { return mvrpBitTest(&machine, MVRP_PROPAGATE_BIT) != 0; });

/// Machines whose applicant has something to say: it neither observes nor is quiet.
inline constexpr MvrpByteMarks kMvrpSpeakingMachines = mvrpByteMarks([](u8 machine) {
    constexpr u32 kSilent = 1U << APP_STATE_VO | 1U << APP_STATE_AO | 1U << APP_STATE_QO |
                            1U << APP_STATE_QA | 1U << APP_STATE_QP;
    return (kSilent >> mvrpApplicant(machine) & 1U) == 0;
});

/// Active machines whose registrar is leaving.
inline constexpr MvrpByteMarks kMvrpLeavingMachines = mvrpByteMarks(
    [](u8 machine) { return mvrpVlanActive(machine) && mvrpRegistrar(machine) == REG_STATE_LV; });

/// Machines that an expired leave timer acts on: registrations that nobody took back, and
/// registrars that are empty under a REG-BIT.
inline constexpr MvrpByteMarks kMvrpExpiringMachines = mvrpByteMarks([](u8 machine) {
    const u32 registrar = mvrpRegistrar(machine);
    return mvrpVlanActive(machine) &&
           (registrar == REG_STATE_LV ||
            (registrar == REG_STATE_MT && mvrpBitTest(&machine, MVRP_REG_BIT) != 0));
});
