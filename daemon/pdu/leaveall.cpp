// SPDX-License-Identifier: MIT
#include "daemon/pdu/leaveall.h"

#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/machines.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/timers/protocol_timers.h"

void mvrpLeaveallRaise(MvrpPortEntry* port, u32 protocol) {
    if (mvrpGvrpCompliant()) {
        MvrpVlanBitmap vlans;
        gMvrpBytes.mark(mvrpMachines(port), kMvrpActiveMachines, &vlans);
        mvrpForEachVlan(vlans, [port, protocol](u32 vid) {
            if (mvrpVlanKnownAndNot(vid, QorVlanType::Static))
                mvrpFsmChange(&port->madMachine[vid - 1], GVRP_EVENT_R_LEAVE_ALL, protocol);
        });
        return;
    }
    const bool mvrp = protocol == MVRP_PROTOCOL_MVRP;
    if (port->participant_mode == MVRP_PARTICIPANT_QUIET)
        gMvrpBytes.apply(mvrpMachines(port),
                         mvrp ? kMvrpActiveEventMap<MVRP_EVENT_R_LV_LA_QUIET, MVRP_PROTOCOL_MVRP>
                              : kMvrpActiveEventMap<MVRP_EVENT_R_LV_LA_QUIET, MVRP_PROTOCOL_GVRP>);
    else
        gMvrpBytes.apply(mvrpMachines(port),
                         mvrp ? kMvrpActiveEventMap<MVRP_EVENT_R_LA, MVRP_PROTOCOL_MVRP>
                              : kMvrpActiveEventMap<MVRP_EVENT_R_LA, MVRP_PROTOCOL_GVRP>);
}

void mvrpRcvLeaveall(MvrpPortEntry* port) {
    port->msgNum = 0;
    mvrpPortTimerRestart(port, &port->leaveAllTimer, port->leaveAllTimeout,
                         mvrpLeaveallTimerHandler);
    mvrpJoinTimerArm(port, MVRP_JOIN_FULL, port->join_timeout);
    if (silTimerRemain(&gMvrpInfo.timerList, &port->leaveTimer) == 0)
        mvrpPortTimerRestart(port, &port->leaveTimer, port->leave_timeout, mvrpLeaveTimerHandler);

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
