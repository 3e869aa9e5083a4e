// SPDX-License-Identifier: MIT
#include "daemon/map/propagate.h"

#include <algorithm>

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machines.h"
#include "daemon/map/alike.h"
#include "daemon/map/registered.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/pdu/send.h"

namespace {

bool mvrpOtherEnabled(const MvrpPortEntry* port, const MvrpPortEntry* source) {
    return port->enable != 0 && port->portunit != source->portunit;
}

/// Whether declarations propagate from `source` to `port`. The link is not looked at: a port whose
/// link is down keeps its declarations up to date.
bool mvrpPropagationTarget(const MvrpPortEntry* port, const MvrpPortEntry* source) {
    return mvrpOtherEnabled(port, source) && port->registration_mode == MVRP_REGISTRATION_NORMAL;
}

template <class Action>
void mvrpForEachTarget(const MvrpPortEntry* source, Action action) {
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port))
        if (mvrpPropagationTarget(port, source))
            action(port);
}

/// A declaration request in the tables of the protocol the switch speaks.
const MvrpByteMap& mvrpJoinRequest() {
    return mvrpGvrpCompliant() ? kMvrpJoinMap<GVRP_EVENT_JOIN, MVRP_PROTOCOL_GVRP>
                               : kMvrpJoinMap<MVRP_EVENT_JOIN, MVRP_PROTOCOL_MVRP>;
}

const MvrpByteMap& mvrpLeaveRequest() {
    return mvrpGvrpCompliant() ? kMvrpLeaveMap<GVRP_EVENT_LEAVE, MVRP_PROTOCOL_GVRP>
                               : kMvrpLeaveMap<MVRP_EVENT_LEAVE, MVRP_PROTOCOL_MVRP>;
}

/// Raises a request for VLANs on all ports that declarations of `source` propagate to.
void mvrpRequestRaise(const MvrpVlanBitmap& vlans, const MvrpPortEntry* source,
                      const MvrpByteMap& request) {
    mvrpForEachTarget(source, [&vlans, &request](MvrpPortEntry* target) {
        gMvrpBytes.applyWhere(mvrpMachines(target), vlans, request);
    });
}

/// Writes a line when there is no port at all. @return whether there is none
bool mvrpNoPort(MvrpDebug category, const MvrpPortEntry* source, u32 vid, const char* operation) {
    if (!mvrpListEmpty(&gMvrpInfo.portList))
        return false;
    MVRP_TRACE(category, source->portunit, vid, "%s; no port enable mvrp\r\n", operation);
    return true;
}

/// Has the switch take the port out of a VLAN that is applied; `step` numbers the trace line.
void mvrpLeaveQueue(MvrpPortEntry* port, u32 vid, u32 step) {
    if (mvrpBitTest(&port->vlanFlag[vid - 1], MVRP_FLAG_APPLIED) == 0)
        return;
    mvrpVlanFlagRemovePending(port, vid);
    if (mvrpPortVlanEntryEnsure(port->portunit, vid)) {
        MVRP_TRACE(MVRP_DEBUG_DATABASE, port->portunit, vid,
                   "leave indication step%u; port %u vlan %u entry add. (%u)\n\r", step,
                   port->portunit, vid, gMvrpInfo.vlanEntryNum);
    }
}

/// Whether only ports that have something to say send.
bool mvrpSendsOnChange() {
    return mvrpCorrects(Correction::SendOnChange);
}

bool mvrpHasToSay(MvrpPortEntry* port) {
    return gMvrpBytes.has(mvrpMachines(port), kMvrpSpeakingMachines);
}

/// The ports that a send step makes send: all targets, or those that have something to say.
template <class Action>
void mvrpForEachSender(const MvrpPortEntry* source, Action action) {
    const bool onChange = mvrpSendsOnChange();
    mvrpForEachTarget(source, [onChange, action](MvrpPortEntry* target) {
        if (onChange && !mvrpHasToSay(target))
            correctionActed(Correction::SendOnChange, target->portunit, 0);
        else
            action(target);
    });
}

/// Has a target send its joins, or tells the host that it has nothing to say.
template <class Send>
void mvrpJoinsSend(MvrpPortEntry* target, bool sends, Send send) {
    if (!sends) {
        correctionActed(Correction::SendOnChange, target->portunit, 0);
        return;
    }
    target->msgNum = 0;  // a join goes out twice
    send(target);
}

/// What a target goes on declaring though `source` withdraws it: the rest of `vlans`.
MvrpVlanBitmap mvrpWithdrawnFrom(const MvrpPortEntry* target, const MvrpVlanBitmap& vlans,
                                 const MvrpRegisteredElsewhere& elsewhere) {
    const MvrpVlanBitmap needed = elsewhere.neededOn(target);
    MvrpVlanBitmap withdrawn = vlans;
    mvrpBitmapRemove(&withdrawn, needed);
    MvrpVlanBitmap kept;
    gMvrpBytes.mark(mvrpMachines(target), kMvrpPropagatedMachines, &kept);
    mvrpBitmapKeep(&kept, needed);
    mvrpBitmapKeep(&kept, vlans);
    mvrpForEachVlan(kept, [target](u32 vid) {
        correctionActed(Correction::LeaveNeeded, target->portunit, vid);
    });
    return withdrawn;
}

/// @param keeps  while other ports have it declared here, the machine goes on saying so
void mvrpDynamicVlanLeave(MvrpPortEntry* port, u32 vid, bool keeps) {
    mvrpBitClear(&port->vlanFlag[vid - 1], MVRP_FLAG_ADD);
    mvrpLeaveQueue(port, vid, 1);
    MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, vid,
               "Leave indication; port %u rm dynamic vlan %u\r\n", port->portunit, vid);
    if (!keeps || mvrpBitTest(&port->madMachine[vid - 1], MVRP_PROPAGATE_BIT) == 0)
        port->madMachine[vid - 1] = 0;
    else
        correctionActed(Correction::LeaveNeeded, port->portunit, vid);
    // A deliberate repeat: it finds the pair queued, unless the pool had none left the first time.
    mvrpLeaveQueue(port, vid, 2);
}

}  // namespace

void mvrpMapPropagateJoin(u32 vid, MvrpPortEntry* source) {
    if (mvrpNoPort(MVRP_DEBUG_TRANSMIT, source, vid, "Propagate join"))
        return;
    const MvrpByteMap& request = mvrpJoinRequest();
    mvrpForEachTarget(source, [vid, &request](MvrpPortEntry* target) {
        u8* machine = &target->madMachine[vid - 1];
        *machine = request.table[*machine];
    });
}

void mvrpMapPropagateJoins(const MvrpVlanBitmap& vlans, MvrpPortEntry* source) {
    if (mvrpListEmpty(&gMvrpInfo.portList)) {
        mvrpForEachVlan(vlans, [source](u32 vid) { mvrpMapPropagateJoin(vid, source); });
        return;
    }
    if (!mvrpBitmapEmpty(vlans))
        mvrpRequestRaise(vlans, source, mvrpJoinRequest());
}

void mvrpMapPropagateJoinMsgSend(MvrpPortEntry* source) {
    if (mvrpNoPort(MVRP_DEBUG_TRANSMIT, source, 0, "Propagate join msg send"))
        return;
    mvrpForEachSender(source, [source](MvrpPortEntry* target) {
        target->msgNum = 0;  // a join goes out twice
        if (mvrpGvrpCompliant()) {
            MVRP_TRACE(MVRP_DEBUG_TRANSMIT, source->portunit, 0,
                       "Propagate join msg send; gvrp port:%u\n\r", source->portunit);
            mvrpForwardGvrpJoinPkt(target);
        } else {
            mvrpPortSendPkt(target);
        }
    });
}

void mvrpMapPropagateJoinsSend(const MvrpVlanBitmap& vlans, MvrpPortEntry* source) {
    if (mvrpGvrpCompliant() || mvrpListEmpty(&gMvrpInfo.portList)) {
        mvrpMapPropagateJoins(vlans, source);
        mvrpMapPropagateJoinMsgSend(source);
        return;
    }
    // No port's sending looks at another's machines, so each may send before the next is asked.
    const bool onChange = mvrpSendsOnChange();
    MvrpAlike alike;
    mvrpForEachTarget(source, [&vlans, onChange, &alike](MvrpPortEntry* target) {
        if (alike.covers(target)) {
            alike.follow(target);
            mvrpJoinsSend(target, alike.sent(), mvrpPortSendAgain);
            return;
        }
        alike.begin(target);
        gMvrpBytes.applyWhere(mvrpMachines(target), vlans, mvrpJoinRequest());
        const bool sends = !onChange || mvrpHasToSay(target);
        mvrpJoinsSend(target, sends, mvrpPortSendPkt);
        alike.finish(target, sends);
    });
}

void mvrpMapPropagateLeave(u32 vid, MvrpPortEntry* source) {
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, source->portunit, vid,
               "propagate leave; port:%u, vid:%u, madMachine:0x%#x\r\n", source->portunit, vid,
               source->madMachine[vid - 1]);
    if (mvrpNoPort(MVRP_DEBUG_STATE, source, vid, "propagate leave"))
        return;
    const MvrpByteMap& request = mvrpLeaveRequest();
    const bool keeps = mvrpCorrects(Correction::LeaveNeeded);
    mvrpForEachTarget(source, [vid, source, keeps, &request](MvrpPortEntry* target) {
        if (keeps && mvrpNeededOn(target, vid, source)) {
            if (mvrpBitTest(&target->madMachine[vid - 1], MVRP_PROPAGATE_BIT) != 0)
                correctionActed(Correction::LeaveNeeded, target->portunit, vid);
            return;
        }
        MVRP_TRACE(MVRP_DEBUG_STATE, target->portunit, vid,
                   "propagate leave; clr PROPAGATE BIT\r\n");
        u8* machine = &target->madMachine[vid - 1];
        *machine = request.table[*machine];
    });
}

bool mvrpMapLeavesTraced() {
    return (gMvrpInfo.debug & (MVRP_DEBUG_RECEIVE | MVRP_DEBUG_STATE)) != 0;
}

void mvrpMapPropagateLeaves(const MvrpVlanBitmap& vlans, MvrpPortEntry* source) {
    if (mvrpMapLeavesTraced()) {
        mvrpForEachVlan(vlans, [source](u32 vid) { mvrpMapPropagateLeave(vid, source); });
        return;
    }
    if (mvrpBitmapEmpty(vlans))
        return;
    if (!mvrpCorrects(Correction::LeaveNeeded)) {
        mvrpRequestRaise(vlans, source, mvrpLeaveRequest());
        return;
    }
    const MvrpByteMap& request = mvrpLeaveRequest();
    const MvrpRegisteredElsewhere elsewhere(source);
    mvrpForEachTarget(source, [&vlans, &elsewhere, &request](MvrpPortEntry* target) {
        gMvrpBytes.applyWhere(mvrpMachines(target), mvrpWithdrawnFrom(target, vlans, elsewhere),
                              request);
    });
}

void mvrpMapPropagateLeaveMsgSend(MvrpPortEntry* source) {
    mvrpForEachSender(source, [](MvrpPortEntry* target) {
        target->msgNum = 1;  // a leave goes out once
        if (mvrpGvrpCompliant())
            mvrpForwardGvrpLeavePkt(target);
        else
            mvrpPortSendPkt(target);
    });
}

void mvrpMapDeclareOn(MvrpPortEntry* port) {
    if (port->registration_mode != MVRP_REGISTRATION_NORMAL)
        return;
    const MvrpRegisteredElsewhere elsewhere(port);
    if (mvrpBitmapEmpty(elsewhere.any()))
        return;
    correctionActed(Correction::OnDeclares, port->portunit, 0);
    gMvrpBytes.applyWhere(mvrpMachines(port), elsewhere.any(), mvrpJoinRequest());
}

void mvrpMapWithdrawOn(MvrpPortEntry* port) {
    MvrpVlanBitmap vlans;
    gMvrpBytes.mark(mvrpMachines(port), kMvrpPropagatedMachines, &vlans);
    MvrpVlanBitmap fixed;
    gMvrpBytes.mark(mvrpMachines(port), kMvrpFixedMachines, &fixed);
    mvrpBitmapRemove(&vlans, fixed);
    mvrpBitmapRemove(&vlans, MvrpRegisteredElsewhere(port).any());
    gMvrpBytes.applyWhere(mvrpMachines(port), vlans, mvrpLeaveRequest());
}

void mvrpClrPropagate(u32 vid, MvrpPortEntry* source) {
    if (mvrpNoPort(MVRP_DEBUG_STATE, source, vid, "clr propagate"))
        return;
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port))
        if (mvrpOtherEnabled(port, source) && mvrpVlanKnownAndNot(vid, QorVlanType::Static))
            mvrpBitClear(&port->madMachine[vid - 1], MVRP_PROPAGATE_BIT);
}

u32 mvrpLeaveIndication(QorBuffer* bitmap, MvrpPortEntry* port) {
    auto* vlans = static_cast<u8*>(bitmap->data);
    MvrpVlanBitmap left;
    std::copy_n(vlans, left.size(), left.begin());
    const bool keeps = mvrpCorrects(Correction::LeaveNeeded);
    mvrpForEachVlan(left, [vlans, port, keeps](u32 vid) {
        // A VLAN that left before it was created was to be a dynamic one.
        const std::optional<QorVlanType> type = mvrpVlanType(vid);
        if (!type.has_value() && !keeps)
            return;
        if (type.value_or(QorVlanType::Dynamic) == QorVlanType::Dynamic)
            mvrpDynamicVlanLeave(port, vid, keeps);
        else
            mvrpBitClear(vlans, vid - 1);
    });
    return kStatusOk;
}
