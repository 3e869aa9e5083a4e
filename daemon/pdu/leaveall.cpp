// SPDX-License-Identifier: MIT
#include "daemon/pdu/leaveall.h"

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/fsm/machines.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/timers/leave_clock.h"
#include "daemon/timers/protocol_timers.h"

namespace {

/// Raises one event on every active VLAN.
template <u32 Event>
void mvrpActiveRaise(MvrpPortEntry* port, u32 protocol) {
    if (protocol == MVRP_PROTOCOL_MVRP)
        mvrpMachinesChange(port, kMvrpActiveEventMap<Event, MVRP_PROTOCOL_MVRP>,
                           kMvrpActiveLeavingMarks<Event, MVRP_PROTOCOL_MVRP>);
    else
        mvrpMachinesChange(port, kMvrpActiveEventMap<Event, MVRP_PROTOCOL_GVRP>,
                           kMvrpActiveLeavingMarks<Event, MVRP_PROTOCOL_GVRP>);
}

/// Raises the LeaveAll of GVRP on every active VLAN that is not static; on all of them, if that is
/// corrected.
void mvrpGvrpLeaveallRaise(MvrpPortEntry* port, u32 protocol) {
    if (mvrpCorrectsNow(Correction::GvrpStaticRenewed, port->portunit, 0)) {
        mvrpActiveRaise<GVRP_EVENT_R_LEAVE_ALL>(port, protocol);
        return;
    }
    MvrpVlanBitmap vlans;
    gMvrpBytes.mark(mvrpMachines(port), kMvrpActiveMachines, &vlans);
    mvrpForEachVlan(vlans, [port, protocol](u32 vid) {
        if (mvrpVlanKnownAndNot(vid, QorVlanType::Static))
            mvrpMachineChange(port, vid, GVRP_EVENT_R_LEAVE_ALL, protocol);
    });
}

}  // namespace

void mvrpLeaveallRaise(MvrpPortEntry* port, u32 protocol) {
    if (mvrpGvrpCompliant())
        mvrpGvrpLeaveallRaise(port, protocol);
    else if (port->participant_mode == MVRP_PARTICIPANT_QUIET)
        mvrpActiveRaise<MVRP_EVENT_R_LV_LA_QUIET>(port, protocol);
    else
        mvrpActiveRaise<MVRP_EVENT_R_LA>(port, protocol);
}

void mvrpRcvLeaveall(MvrpPortEntry* port) {
    port->msgNum = 0;
    mvrpPortTimerRestart(port, &port->leaveAllTimer, port->leaveAllTimeout,
                         mvrpLeaveallTimerHandler);
    mvrpJoinTimerArm(port, MVRP_JOIN_FULL, port->join_timeout);
    if (silTimerRemain(&gMvrpInfo.timerList, &port->leaveTimer) == 0)
        mvrpLeaveTimerStart(port);

    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, 0,
               "Rcv leave all; (%u, %u, vlan %u machine 0x%02x)\n\r", port->portunit,
               gMvrpInfo.gvrpCompliance, mvrpTraceVlan(), mvrpTraceMachine(port));
    mvrpLeaveallRaise(port, port->peerMode);
    if (mvrpGvrpCompliant())
        mvrpGvrpSendJoinPkt(port);
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, 0,
               "Rcv leave all done; (%u, %u, vlan %u machine 0x%02x)\n\r", port->portunit,
               gMvrpInfo.gvrpCompliance, mvrpTraceVlan(), mvrpTraceMachine(port));
}
