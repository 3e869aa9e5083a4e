// SPDX-License-Identifier: MIT
#include "daemon/map/propagate.h"

#include <algorithm>

#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machines.h"
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

void mvrpDynamicVlanLeave(MvrpPortEntry* port, u32 vid) {
    mvrpBitClear(&port->vlanFlag[vid - 1], MVRP_FLAG_ADD);
    mvrpLeaveQueue(port, vid, 1);
    MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, vid,
               "Leave indication; port %u rm dynamic vlan %u\r\n", port->portunit, vid);
    port->madMachine[vid - 1] = 0;
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
    mvrpForEachTarget(source, [source](MvrpPortEntry* target) {
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

void mvrpMapPropagateLeave(u32 vid, MvrpPortEntry* source) {
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, source->portunit, vid,
               "propagate leave; port:%u, vid:%u, madMachine:0x%#x\r\n", source->portunit, vid,
               source->madMachine[vid - 1]);
    if (mvrpNoPort(MVRP_DEBUG_STATE, source, vid, "propagate leave"))
        return;
    const MvrpByteMap& request = mvrpLeaveRequest();
    mvrpForEachTarget(source, [vid, &request](MvrpPortEntry* target) {
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
    if (!mvrpBitmapEmpty(vlans))
        mvrpRequestRaise(vlans, source, mvrpLeaveRequest());
}

void mvrpMapPropagateLeaveMsgSend(MvrpPortEntry* source) {
    mvrpForEachTarget(source, [](MvrpPortEntry* target) {
        target->msgNum = 1;  // a leave goes out once
        if (mvrpGvrpCompliant())
            mvrpForwardGvrpLeavePkt(target);
        else
            mvrpPortSendPkt(target);
    });
}

void mvrpClrPropagate(u32 vid, MvrpPortEntry* source) {
    if (mvrpNoPort(MVRP_DEBUG_STATE, source, vid, "clr propagate"))
        return;
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        if (mvrpOtherEnabled(port, source) && mvrpVlanKnownAndNot(vid, QorVlanType::Static))
            mvrpBitClear(&port->madMachine[vid - 1], MVRP_PROPAGATE_BIT);
    }
}

u32 mvrpLeaveIndication(QorBuffer* bitmap, MvrpPortEntry* port) {
    auto* vlans = static_cast<u8*>(bitmap->data);
    MvrpVlanBitmap left;
    std::copy_n(vlans, left.size(), left.begin());
    mvrpForEachVlan(left, [vlans, port](u32 vid) {
        const std::optional<QorVlanType> type = mvrpVlanType(vid);
        if (!type.has_value())
            return;
        if (*type == QorVlanType::Dynamic)
            mvrpDynamicVlanLeave(port, vid);
        else
            mvrpBitClear(vlans, vid - 1);
    });
    return kStatusOk;
}
