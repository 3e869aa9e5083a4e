// SPDX-License-Identifier: MIT
//
// What the steps of an MVRP reception share: one event of one VLAN (receive.cpp), and one event of
// many VLANs at once (reception_run.cpp). Both are made of the maps below, so that they are the
// same rules.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/base/byte_map.h"
#include "daemon/db/facts.h"
#include "daemon/db/port.h"
#include "daemon/fsm/transition.h"

/// What the values of one PDU have in common.
struct MvrpReception {
    MvrpPortEntry* port;
    MvrpFacts facts;        ///< about the port
    bool registers;         ///< the registration mode lets the port register what is declared
    bool hears;             ///< what is said of VLANs that are static here is heard (correction)
    MvrpVlanBitmap joined;  ///< what the other ports are to hear of
};

/// Machines after an event that is received: one that was idle begins with it.
template <class Apply>
consteval MvrpByteMap mvrpReceivedMap(Apply apply) {
    return mvrpByteMap([apply](u8 machine) {
        return apply(mvrpVlanActive(machine) ? machine : mvrpMachineBegin(MVRP_MACHINE_DYNAMIC));
    });
}

/// A declaration: REG-BIT, then its event.
template <MvrpEvent Event>
inline constexpr MvrpByteMap kMvrpReceivedJoin = mvrpReceivedMap([](u8 machine) {
    mvrpBitSet(&machine, MVRP_REG_BIT);
    return mvrpMachineAfter(machine, Event, MVRP_PROTOCOL_MVRP);
});

/// An event that only tells how others stand.
template <MvrpEvent Event>
inline constexpr MvrpByteMap kMvrpReceivedObserved = mvrpReceivedMap([](u8 machine) {
    return mvrpMachineAfter(machine, Event, MVRP_PROTOCOL_MVRP);
});

/// Whether an applicant that was not anxious is so now.
constexpr bool mvrpBecameAnxious(u8 before, u8 after) {
    constexpr u32 kAnxious = 1U << APP_STATE_AA | 1U << APP_STATE_AP;
    return (kAnxious >> mvrpApplicant(after) & 1U) != 0 &&
           (kAnxious >> mvrpApplicant(before) & 1U) == 0;
}

/// Asks for the PVID of a port. @return it; 1 when it can not be read
u32 mvrpPortPvidAsk(u32 unit);
/// The PVID of the port.
inline u32 mvrpPortPvid(const MvrpReception& reception) {
    const u32 shown = mvrpShown(reception.facts);
    return shown != 0 ? shown & QorPortFacts::kPvidMask : mvrpPortPvidAsk(reception.port->portunit);
}

/// Queues a registered VLAN for the switch, if the port carries it.
void mvrpRegistrationQueue(const MvrpReception& reception, u32 vid);

/// Fewest VLANs that are worth being looked at together.
inline constexpr u32 kMvrpShortestRun = 9;

/// Whether VLANs may be looked at together: each of them asks nothing and writes no line.
bool mvrpRunsAllowed(const MvrpReception& reception);
/// The first VLAN from `vid` on that is a matter of its own: one that may be static, the port's
/// PVID, and 4095, which is reserved. `endVid` when there is none before it. @pre mvrpRunsAllowed()
u32 mvrpRunEnd(const MvrpReception& reception, u32 vid, u32 endVid);
/// Applies one attribute event but Lv to the VLANs from `vid` to `endVid` - 1, at least one, none
/// of which is a matter of its own. @return false, with nothing done, where each has to be looked
/// at
bool mvrpRunReceive(MvrpReception* reception, u32 vid, u32 endVid, u32 event);
