// SPDX-License-Identifier: MIT
#include "daemon/pdu/gvrp_receive.h"

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/facts.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/transition.h"
#include "daemon/map/propagate.h"
#include "daemon/pdu/admission.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/gvrp_format.h"
#include "daemon/pdu/leaveall.h"
#include "daemon/timers/leave_clock.h"
#include "daemon/timers/protocol_timers.h"

namespace {

bool mvrpGidLeave(u32 gidEvent) {
    return gidEvent == GVRP_EVENT_R_LEAVE_EMPTY || gidEvent == GVRP_EVENT_R_LEAVE_IN;
}

bool mvrpGidJoin(u32 gidEvent) {
    return gidEvent == GVRP_EVENT_R_JOIN_EMPTY || gidEvent == GVRP_EVENT_R_JOIN_IN;
}

/// Whether the attribute that `bytes` begin with is there whole.
bool mvrpAttributeWhole(std::span<const u8> bytes) {
    if (bytes.size() < kGvrpLeaveAllBytes || bytes[0] == 0)
        return false;
    return bytes[1] == GVRP_ATTRIBUTE_LEAVE_ALL || bytes.size() >= kGvrpVlanAttributeBytes;
}

/// Marks a newly registered VLAN for the switch. Unlike MVRP neither the port's list of VLANs nor
/// its PVID is looked at.
void mvrpGidRegistrationMark(MvrpPortEntry* port, u32 vid) {
    u8* flag = &port->vlanFlag[vid - 1];
    mvrpBitClear(flag, MVRP_FLAG_REMOVE);
    if (mvrpBitTest(flag, MVRP_FLAG_APPLIED) != 0)
        return;
    mvrpBitSet(flag, MVRP_FLAG_ADD);
    if (mvrpPortVlanEntryEnsure(port->portunit, vid)) {
        MVRP_TRACE(MVRP_DEBUG_DATABASE, port->portunit, vid,
                   "gid rcv attribute; port %u vlan %u entry add. (%u)\n\r", port->portunit, vid,
                   gMvrpInfo.vlanEntryNum);
    }
}

/// Applies one received attribute but for what the other ports hear of it. @return whether that is
/// a join
bool mvrpGidAttributeApply(MvrpPortEntry* port, const MvrpFacts& facts, u16 vid, u32 gidEvent) {
    u8* machine = &port->madMachine[vid - 1];
    const bool isStatic = mvrpVlanType(facts, vid) == QorVlanType::Static;
    if (isStatic && (mvrpRegistrar(*machine) != REG_STATE_INF ||
                     !mvrpCorrectsNow(Correction::StaticHeard, port->portunit, vid)))
        return false;
    if (mvrpGidJoin(gidEvent) && !mvrpPortAdmits(port, facts, vid))
        return false;

    mvrpMachineChange(port, vid, gidEvent, MVRP_PROTOCOL_GVRP);
    if (mvrpGidLeave(gidEvent)) {
        if (!isStatic)
            mvrpMachineChange(port, vid, GVRP_EVENT_R_LEAVE_IN, MVRP_PROTOCOL_GVRP);
        port->msgNum = 0;
        return false;
    }
    if (isStatic || !mvrpGidJoin(gidEvent))
        return false;

    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid, "Gid rcv attribute; create vlan %u\n\r",
               vid);
    *machine = mvrpWithRegistrar(*machine, REG_STATE_MT);
    mvrpFsmChange(machine, GVRP_EVENT_R_JOIN_IN, MVRP_PROTOCOL_GVRP);
    mvrpBitSet(machine, MVRP_REG_BIT);
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid,
               "Gid rcv attribute; vlan %u change madMachine to %#x. (%u)\r\n", vid, *machine,
               gMvrpInfo.vlanEntryNum);
    mvrpGidRegistrationMark(port, vid);
    return true;
}

/// What a walk over the attributes ended with.
struct MvrpGidWalk {
    bool leaveAll = false;             ///< a LeaveAll was met and applied
    u32 lastRow = GVRP_EVENT_SPARE_0;  ///< of the last attribute whose event was mapped
    MvrpVlanBitmap joined = {};        ///< what the other ports are to hear of
};

MvrpGidWalk mvrpGidWalkAttributes(MvrpPortEntry* port, std::span<const u8> attributes) {
    MvrpGidWalk walk;
    const MvrpFacts facts = mvrpFactsOf(port->portunit);
    std::span<const u8> rest = attributes;
    // The count of consumed bytes follows the length bytes, the position always moves by 4: the two
    // part ways where a length byte is not 4, and that is wanted.
    size_t consumed = 0;
    while (consumed < attributes.size() && mvrpAttributeWhole(rest)) {
        walk.lastRow = mvrpAttributeEventToGidEvent(rest[1]);
        if (walk.lastRow == GVRP_EVENT_R_LEAVE_ALL) {
            mvrpRcvLeaveall(port);
            walk.leaveAll = true;
            return walk;
        }
        const u16 vid = mvrpReadBe16(&rest[2]);
        if (vid < kMvrpVlanFirst || vid >= kGvrpVlanEnd)
            return walk;
        if (mvrpPortCarriesVlan(facts, vid)) {
            if (mvrpGidAttributeApply(port, facts, vid, walk.lastRow))
                mvrpBitSet(walk.joined.data(), vid - 1U);
        } else {
            MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid,
                       "VlanInfoProcessGvrp; vlan %u isn't static vlan in port %u\n\r", vid,
                       port->portunit);
        }
        consumed += rest[0];
        rest = rest.subspan(kGvrpVlanAttributeBytes);
    }
    return walk;
}

}  // namespace

s32 mvrpVlanInfoProcessGvrp(MvrpPortEntry* port, std::span<const u8> attributes) {
    const MvrpGidWalk walk = mvrpGidWalkAttributes(port, attributes);
    // The other ports hear of all joins at once; nothing looks at them while the PDU is read.
    mvrpMapPropagateJoins(walk.joined, port);
    if (walk.leaveAll)
        return 0;
    if (mvrpGidLeave(walk.lastRow)) {
        mvrpJoinTimerArm(port, MVRP_JOIN_FULL, port->join_timeout);
        mvrpLeaveTimerStart(port);
    }
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, 0, "Vlan info process gvrp; done. (%u)\n\r",
               gMvrpInfo.vlanEntryNum);
    mvrpMapPropagateJoinMsgSend(port);
    return 0;
}

s32 mvrpGidRcvAttribute(MvrpPortEntry* port, u16 vid, u32 gidEvent) {
    if (mvrpGidAttributeApply(port, mvrpFactsOf(port->portunit), vid, gidEvent))
        mvrpMapPropagateJoin(vid, port);
    return 0;
}
