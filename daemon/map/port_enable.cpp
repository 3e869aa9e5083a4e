// SPDX-License-Identifier: MIT
#include "daemon/map/port_enable.h"

#include <cstring>

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machines.h"
#include "daemon/map/propagate.h"
#include "daemon/map/static_vlan.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/timers/protocol_timers.h"

namespace {

void mvrpEnableMvrpProtocol(MvrpPortEntry* port, MvrpInterfaceName* name) {
    if (mvrpPortProtocolSet(port->portunit, MvrpProtocolSwitch::Enable, kProtocolMvrp) == kStatusOk)
        return;
    // The port counts as enabled all the same, but without the registrations made for it.
    std::memset(port->madMachine, 0, sizeof(port->madMachine));
    MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
               "port entry enable; port %u enable proto failed\n\r", port->portunit);
    mvrpPortProtocolFailed(port->portunit, MvrpProtocolSwitch::Enable, kProtocolMvrp, name);
}

void mvrpEnableGvrpProtocol(MvrpPortEntry* port, MvrpInterfaceName* name) {
    if (mvrpPortProtocolSet(port->portunit, MvrpProtocolSwitch::Enable, kProtocolGvrp) !=
        kStatusOk) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "port entry enable; port %u enable gvrp proto failed\n\r", port->portunit);
        mvrpPortProtocolFailed(port->portunit, MvrpProtocolSwitch::Enable, kProtocolGvrp, name);
    }
    port->gvrpCompliance = 1;
}

/// Withdraws what is registered on the port because somebody behind it declares it.
void mvrpDeclaredWithdraw(MvrpPortEntry* port) {
    MvrpVlanBitmap vlans;
    if (!gMvrpBytes.mark(mvrpMachines(port), kMvrpRegisteredMachines, &vlans))
        return;
    correctionActed(Correction::OffWithdraws, port->portunit, 0);
    mvrpRegistrationsWithdraw(port, vlans);
}

}  // namespace

s32 mvrpPortEntryEnable(MvrpPortEntry* port) {
    if (port->enable != 0)
        return 0;
    if (mvrpRegisterStaticVlans(port) != 0)
        return -1;

    MvrpInterfaceName name = {};
    mvrpEnableMvrpProtocol(port, &name);
    port->enable = 1;
    mvrpPortTimerRestart(port, &port->leaveAllTimer, port->leaveAllTimeout,
                         mvrpLeaveallTimerHandler);
    mvrpJoinTimerArm(port, MVRP_JOIN_FULL, port->join_timeout);
    mvrpPortTimerRestart(port, &port->periodTransTimer, port->period_trans_timeout,
                         mvrpPeriodTransTimerHandler);
    if (mvrpGvrpCompliant()) {
        mvrpEnableGvrpProtocol(port, &name);
        // VLAN 1 is left out here, and only here: switching compliance on does include it.
        mvrpPortDeclareStaticVlans(port, kMvrpDefaultVlan + 1, "port entry enable");
    }
    if (mvrpCorrects(Correction::OnDeclares))
        mvrpMapDeclareOn(port);
    return 0;
}

void mvrpPortModeNormal(MvrpPortEntry* port) {
    if (port->enable == 0 || !mvrpCorrects(Correction::OnDeclares))
        return;
    mvrpMapDeclareOn(port);
    mvrpMapWithdrawOn(port);
    if (mvrpGvrpCompliant())
        mvrpForwardGvrpLeavePkt(port);
    mvrpJoinTimerArm(port, MVRP_JOIN_FULL, port->join_timeout);
}

s32 mvrpPortEntryDisable(MvrpPortEntry* port) {
    if (port->enable != 0 && mvrpCorrects(Correction::OffWithdraws))
        mvrpDeclaredWithdraw(port);
    MvrpInterfaceName name = {};
    mvrpPortTimersStop(port);
    if (mvrpPortProtocolSet(port->portunit, MvrpProtocolSwitch::Disable, kProtocolMvrp) !=
        kStatusOk)
        mvrpPortProtocolFailed(port->portunit, MvrpProtocolSwitch::Disable, kProtocolMvrp, &name);
    port->enable = 0;
    mvrpPortTimeoutsReset(port);
    port->registration_mode = MVRP_REGISTRATION_NORMAL;

    if (mvrpGvrpCompliant()) {
        if (mvrpPortProtocolSet(port->portunit, MvrpProtocolSwitch::Disable, kProtocolGvrp) !=
            kStatusOk) {
            MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                       "port entry disable; port %u proto disable failed\n\r", port->portunit);
            mvrpPortProtocolFailed(port->portunit, MvrpProtocolSwitch::Disable, kProtocolGvrp,
                                   &name);
            return -1;
        }
        port->gvrpCompliance = 0;
    }

    MvrpVlanBitmap all;
    all.fill(0xFF);
    QorBuffer allVlans = mvrpBitmapBuffer(all);
    mvrpPortVlanClear(&allVlans, port);
    return 0;
}
