// SPDX-License-Identifier: MIT
#include "daemon/map/static_vlan.h"

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/transition.h"
#include "daemon/map/propagate.h"
#include "daemon/map/registered.h"
#include "daemon/timers/leave_clock.h"

namespace {

/// Withdraws every VLAN of the bitmap from the other ports, whether the port registers it or not,
/// then takes the port out of all of them. @return whether the switch did so
bool mvrpVlansWithdraw(MvrpPortEntry* port, MvrpVlanBitmap* vlans) {
    mvrpRegistrationsWithdraw(port, *vlans);
    QorBuffer withdrawn = mvrpBitmapBuffer(*vlans);
    return qorIfSyncApi(port->portunit, static_cast<u32>(QorIfAttribute::RemoveDynamic),
                        &withdrawn) == kStatusOk;
}

/// Has a declaration go on for others when the VLAN is no longer static on the port, if another
/// port has registered it. @return whether that is so
bool mvrpDeclarationKept(MvrpPortEntry* port, u32 vid) {
    if (!mvrpCorrects(Correction::LeaveNeeded) || !mvrpCorrects(Correction::StaticKept) ||
        !mvrpRegisteredOnOther(vid, port))
        return false;
    correctionActed(Correction::LeaveNeeded, port->portunit, vid);
    u8* machine = &port->madMachine[vid - 1];
    *machine = mvrpMachineByte(mvrpApplicant(*machine), REG_STATE_MT);
    mvrpBitSet(machine, MVRP_PROPAGATE_BIT);
    return true;
}

/// Forgets what a port had learnt and had waiting of the VLANs that it was taken out of.
void mvrpRegistrationsForget(MvrpPortEntry* port, const MvrpVlanBitmap& vlans) {
    mvrpForEachVlan(vlans, [port](u32 vid) {
        mvrpVlanFlagReset(port, vid);
        mvrpPortVlanEntryDel(port->portunit, vid);
        u8* machine = &port->madMachine[vid - 1];
        if (mvrpRegistrar(*machine) != REG_STATE_INF)
            *machine = mvrpWithRegistrar(*machine, REG_STATE_MT);
    });
}

}  // namespace

void mvrpRegistrationsWithdraw(MvrpPortEntry* port, const MvrpVlanBitmap& vlans) {
    mvrpForEachVlan(vlans,
                    [port](u32 vid) { mvrpBitClear(&port->madMachine[vid - 1], MVRP_REG_BIT); });
    mvrpMapPropagateLeaves(vlans, port);
    mvrpMapPropagateLeaveMsgSend(port);
}

u32 mvrpPortAddStaticVlan(MvrpPortEntry* port, u32 vid) {
    u8* machine = &port->madMachine[vid - 1];
    mvrpFsmInit(machine, MVRP_MACHINE_STATIC);
    // Without compliance the registration is fixed but REG-BIT stays clear, unlike after
    // mvrpRegisterStaticVlans(): wanted so, unless corrected.
    if (mvrpGvrpCompliant() || mvrpCorrectsNow(Correction::StaticKept, port->portunit, vid))
        mvrpBitSet(machine, MVRP_REG_BIT);
    return kStatusOk;
}

u32 mvrpPortDelStaticVlan(MvrpPortEntry* port, u32 vid) {
    if (mvrpDeclarationKept(port, vid))
        return kStatusOk;
    u8* machine = &port->madMachine[vid - 1];
    mvrpMachineChange(port, vid, MVRP_EVENT_STATIC_REMOVED, MVRP_PROTOCOL_MVRP);
    const bool compliant = mvrpGvrpCompliant();
    if (compliant || mvrpCorrectsNow(Correction::StaticKept, port->portunit, vid))
        mvrpBitClear(machine, MVRP_REG_BIT);
    if (compliant && mvrpCorrectsNow(Correction::GvrpStaticWithdrawn, port->portunit, vid))
        *machine = mvrpMachineByte(mvrpApplicant(*machine), REG_STATE_MT);
    return kStatusOk;
}

s32 mvrpRegisterStaticVlans(MvrpPortEntry* port) {
    MvrpVlanBitmap carried = {};
    if (!mvrpPortVlansRead(port->portunit, QorIfAttribute::Permitted, &carried)) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "reg static vlans; get all vlan of port %d error\r\n", port->portunit);
        return -1;
    }
    for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; ++vid) {
        u8* machine = &port->madMachine[vid - 1];
        if (mvrpBitTest(carried.data(), vid - 1) == 0 || mvrpBitTest(machine, MVRP_REG_BIT) != 0)
            continue;
        if (!mvrpPortCarriesVlan(port->portunit, vid) || mvrpVlanType(vid) != QorVlanType::Static)
            continue;
        mvrpFsmInit(machine, MVRP_MACHINE_STATIC);
        mvrpBitSet(machine, MVRP_REG_BIT);
    }
    return 0;
}

s32 mvrpDeregisterDynamicVlan(MvrpPortEntry* port) {
    MvrpVlanBitmap vlans = {};
    if (!mvrpPortVlansRead(port->portunit, QorIfAttribute::DynamicMembership, &vlans)) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "Deregister dynamic vlan; get dynamic vlan of port %d error\r\n",
                   port->portunit);
        return -1;
    }
    // The one line that goes out under the platform's id and the start-up's level.
    if (mvrpVlansWithdraw(port, &vlans)) {
        if (mvrpCorrectsNow(Correction::ForbiddenForgets, port->portunit, 0))
            mvrpRegistrationsForget(port, vlans);
    } else if (mvrpTraceWanted(MVRP_DEBUG_STATE, port->portunit, 0)) {
        loggingDebugOutput(kMvrpLogBase + MVRP_LOG_PLATFORM, gMvrpInfo.logLevel[MVRP_LOG_START], 0,
                           "Deregister dynamic vlan; rm dynamic vlan of port %d error\r\n",
                           port->portunit);
    }
    return 0;
}

s32 mvrpDeregisterAllVlans(MvrpPortEntry* port) {
    MvrpVlanBitmap vlans = {};
    if (!mvrpPortVlansRead(port->portunit, QorIfAttribute::Permitted, &vlans)) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "Deregister all vlans; get vlan of port %u error\r\n", port->portunit);
        return -1;
    }
    mvrpBitClear(vlans.data(), kMvrpDefaultVlan - 1);
    if (!mvrpVlansWithdraw(port, &vlans)) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "Deregister all vlans; rm dynamic vlan of port %d error\r\n", port->portunit);
    }
    return 0;
}

void mvrpPortDeclareStaticVlans(MvrpPortEntry* port, u32 firstVid, const char* operation) {
    for (u32 vid = firstVid; vid <= kMvrpVlanLast; ++vid) {
        if (!mvrpVlanKnownAndNot(vid, QorVlanType::Dynamic) ||
            !mvrpPortCarriesVlan(port->portunit, vid))
            continue;
        mvrpPortAddStaticVlan(port, vid);
        mvrpBitSet(&port->madMachine[vid - 1], MVRP_PROPAGATE_BIT);
        mvrpVlanFlagReset(port, vid);
        MVRP_TRACE(MVRP_DEBUG_DATABASE, port->portunit, vid,
                   "%s; port %u vlan %u entry del. (%u)\n\r", operation, port->portunit, vid,
                   gMvrpInfo.vlanEntryNum);
        mvrpPortVlanEntryDel(port->portunit, vid);
    }
}
