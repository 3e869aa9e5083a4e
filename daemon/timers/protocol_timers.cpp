// SPDX-License-Identifier: MIT
#include "daemon/timers/protocol_timers.h"

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/machines.h"
#include "daemon/map/propagate.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/pdu/leaveall.h"
#include "daemon/pdu/send.h"
#include "daemon/sync/standby.h"
#include "daemon/timers/leave_clock.h"

namespace {

MvrpPortEntry* mvrpTimerPort(void* argument) {
    return static_cast<MvrpPortEntry*>(argument);
}

/// Writes a line that shows one VLAN of the port, at the start or end of a handler.
void mvrpHandlerTrace(const MvrpPortEntry* port, const char* text) {
    MVRP_TRACE(MVRP_DEBUG_TIMER, port->portunit, 0, "%s; port:%u.(vlan %u machine 0x%02x)\r\n",
               text, port->portunit, mvrpTraceVlan(), mvrpTraceMachine(port));
}

void mvrpJoinTimerSend(MvrpPortEntry* port) {
    const bool compliant = mvrpGvrpCompliant();
    switch (port->joinTimerFlag) {
        case MVRP_JOIN_FULL:
            compliant ? mvrpGvrpSendJoinPkt(port) : mvrpPortSendPkt(port);
            break;
        case MVRP_JOIN_FIXED_ONLY:
            compliant ? mvrpForwardGvrpJoinPkt(port) : mvrpPortSendJoinPkt(port);
            break;
        default:
            break;
    }
}

/// Forgets a VLAN that neither the port nor another one needs here any more, and has the switch
/// take the port out of it.
void mvrpVlanForget(MvrpPortEntry* port, u32 vid) {
    port->madMachine[vid - 1] = 0;
    if (mvrpBitTest(&port->vlanFlag[vid - 1], MVRP_FLAG_APPLIED) == 0)
        return;
    mvrpVlanFlagRemovePending(port, vid);
    if (mvrpPortVlanEntryEnsure(port->portunit, vid)) {
        MVRP_TRACE(MVRP_DEBUG_TIMER, port->portunit, vid,
                   "leave timer handler; port %u vlan %u entry add. (%u)\n\r", port->portunit, vid,
                   gMvrpInfo.vlanEntryNum);
    }
}

/// Ends a registration whose withdrawal nobody took back.
void mvrpLeavingExpire(MvrpPortEntry* port, u32 vid) {
    u8* machine = &port->madMachine[vid - 1];
    mvrpFsmChange(machine,
                  mvrpGvrpCompliant() ? MVRP_EVENT_LEAVE_TIMER_GVRP : MVRP_EVENT_LEAVE_TIMER,
                  port->peerMode);
    MVRP_TRACE(MVRP_DEBUG_TIMER, port->portunit, vid,
               "Leave timer handler; port:%u, change vlan %u madMachine to 0x%02x.\r\n",
               port->portunit, vid, *machine);
    if (mvrpMapLeavesTraced())
        mvrpMapPropagateLeave(vid, port);
    mvrpBitClear(machine, MVRP_REG_BIT);
    if (!mvrpVlanActive(*machine))
        mvrpVlanForget(port, vid);
}

/// What an expiry of the leave timer found.
struct MvrpExpiry {
    bool any = false;      ///< anything to do; without that `left` is not written
    bool waiting = false;  ///< registrations whose leave time is not over
    MvrpVlanBitmap left;   ///< VLANs that left
};

/// Ends what is leaving on the port. With a clock, only what has no time left.
void mvrpRegistrationsExpire(MvrpPortEntry* port, bool clocked, MvrpExpiry* expiry) {
    // Most expiries find nothing, and make no bitmap for that.
    expiry->any = gMvrpBytes.has(mvrpMachines(port), kMvrpExpiringMachines);
    if (!expiry->any)
        return;
    MvrpVlanBitmap* left = &expiry->left;
    gMvrpBytes.mark(mvrpMachines(port), kMvrpExpiringMachines, left);
    if (clocked)
        expiry->waiting = mvrpLeaveClockTick(port, left);
    mvrpForEachVlan(*left, [port, left](u32 vid) {
        u8* machine = &port->madMachine[vid - 1];
        if (mvrpRegistrar(*machine) == REG_STATE_LV) {
            mvrpLeavingExpire(port, vid);
            return;
        }
        *machine = mvrpWithRegistrar(*machine, REG_STATE_IN);
        mvrpBitClear(left->data(), vid - 1);
    });
    if (!mvrpMapLeavesTraced())
        mvrpMapPropagateLeaves(*left, port);
}

}  // namespace

static_assert(u32{MVRP_EVENT_LEAVE_TIMER} == u32{GVRP_EVENT_LEAVE_TIMER} &&
                  u32{MVRP_EVENT_LEAVE_TIMER_GVRP} == u32{GVRP_EVENT_LEAVE_TIMER_GVRP},
              "the leave timer raises one row, in the tables of either protocol");

void mvrpJoinTimerArm(MvrpPortEntry* port, MvrpJoinTimerFlag flag, u32 ms) {
    port->joinTimerFlag = flag;
    mvrpPortTimerRestart(port, &port->joinTimer, ms, mvrpJoinTimerHandler);
}

void mvrpVectorJoinStart(MvrpPortEntry* port) {
    u32 ms = kMvrpPromptJoinMs;
    if (port->join_timeout < ms && mvrpCorrectsNow(Correction::StaticHeard, port->portunit, 0))
        ms = port->join_timeout;
    mvrpPortTimerRestart(port, &port->vectorJoinTimer, ms, mvrpJoinTimerHandler);
}

void mvrpJoinCycleStep(MvrpPortEntry* port, MvrpJoinTimerFlag flag) {
    port->msgNum = static_cast<u8>(port->msgNum + 1);
    if (port->msgNum < kMvrpJoinRepeats)
        mvrpJoinTimerArm(port, flag, port->join_timeout);
}

u32 mvrpJoinTimerHandler(void* argument) {
    MvrpPortEntry* port = mvrpTimerPort(argument);
    MVRP_TRACE(MVRP_DEBUG_TIMER, port->portunit, 0,
               "join timer handler; port:%u.(vlan %u machine 0x%02x, flag:%u)\r\n", port->portunit,
               mvrpTraceVlan(), mvrpTraceMachine(port), port->joinTimerFlag);
    mvrpJoinTimerSend(port);
    mvrpHandlerTrace(port, "join timer handler done");
    mvrpSyncPort(port, MVRP_SYNC_ADD);
    return kStatusOk;
}

u32 mvrpLeaveTimerHandler(void* argument) {
    MvrpPortEntry* port = mvrpTimerPort(argument);
    mvrpHandlerTrace(port, "Leave timer handler");
    const bool clocked = mvrpCorrects(Correction::LeaveClock);
    MvrpExpiry expiry;
    mvrpRegistrationsExpire(port, clocked, &expiry);
    if (!clocked || (expiry.any && !mvrpBitmapEmpty(expiry.left)))
        mvrpMapPropagateLeaveMsgSend(port);
    QorBuffer leftVlans = mvrpBitmapBuffer(expiry.left);
    if (expiry.any && mvrpLeaveIndication(&leftVlans, port) != kStatusOk)
        return kStatusFailed;
    if (expiry.waiting)
        mvrpLeaveTimerStart(port);
    mvrpHandlerTrace(port, "Leave timer handler done");
    return kStatusOk;
}

u32 mvrpLeaveallTimerHandler(void* argument) {
    MvrpPortEntry* port = mvrpTimerPort(argument);
    // Without a link the timer stays idle until something arms it again.
    if (port->linkState == 0)
        return kStatusOk;
    mvrpHandlerTrace(port, "Leave all timer handler");
    port->msgNum = 0;
    mvrpJoinTimerArm(port, MVRP_JOIN_FULL, port->join_timeout);
    mvrpLeaveTimerStart(port);
    mvrpPortTimerRestart(port, &port->leaveAllTimer, port->leaveAllTimeout,
                         mvrpLeaveallTimerHandler);
    if (mvrpGvrpCompliant()) {
        mvrpLeaveallRaise(port, MVRP_PROTOCOL_GVRP);
        mvrpGvrpSendLeaveallPkt(port);
        mvrpGvrpSendJoinPkt(port);
    } else {
        mvrpLeaveallRaise(port, MVRP_PROTOCOL_MVRP);
        mvrpSendLeaveallPkt(port);
        mvrpPortSendPkt(port);
    }
    mvrpHandlerTrace(port, "Leave all timer handler done");
    mvrpSyncPort(port, MVRP_SYNC_ADD);
    return kStatusOk;
}

u32 mvrpPeriodTransTimerHandler(void* /*argument*/) {
    return kStatusOk;
}

u32 mvrpSendTimerHandler(void* argument) {
    return static_cast<u32>(mvrpPortSendPkt(mvrpTimerPort(argument)));
}
