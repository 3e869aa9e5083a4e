// SPDX-License-Identifier: MIT
#include "daemon/mgmt/global_mode.h"

#include "daemon/base/trace.h"
#include "daemon/db/pools.h"
#include "daemon/db/port.h"
#include "daemon/map/port_enable.h"
#include "daemon/map/static_vlan.h"
#include "daemon/timers/pending.h"
#include "platform/contract/qor_socket.h"

namespace {

void mvrpModeTrace(const char* message) {
    MVRP_TRACE_ID(MVRP_LOG_START, MVRP_DEBUG_DATABASE, 0, 0, "%s", message);
}

/// Switching compliance on and off is one operation: each enabled port's GVRP is switched, and all
/// is put back when one port refuses.
struct MvrpComplianceChange {
    const char* name;  ///< begins the trace lines
    MvrpProtocolSwitch direction;
    MvrpProtocolSwitch rollBack;
    u8 portBit;               ///< gvrpCompliance of a port that has been switched
    MvrpSwitchState result;   ///< global compliance when all ports followed
    MvrpSwitchState failure;  ///< global compliance when one refused
    bool declaresStatics;     ///< leaving compliance changes no VLAN state
};

constexpr MvrpComplianceChange kComplianceOn = {"Compliance gvrp",
                                                MvrpProtocolSwitch::Enable,
                                                MvrpProtocolSwitch::Disable,
                                                1,
                                                MVRP_ON,
                                                MVRP_OFF,
                                                true};
constexpr MvrpComplianceChange kComplianceOff = {"Uncompliance gvrp",
                                                 MvrpProtocolSwitch::Disable,
                                                 MvrpProtocolSwitch::Enable,
                                                 0,
                                                 MVRP_OFF,
                                                 MVRP_ON,
                                                 false};

/// Switches GVRP on one port and says so when that fails. @return whether it worked
bool mvrpPortGvrpSwitch(const MvrpComplianceChange& change, const MvrpPortEntry* port,
                        MvrpProtocolSwitch direction, MvrpInterfaceName* name) {
    if (mvrpPortProtocolSet(port->portunit, direction, kProtocolGvrp) == kStatusOk)
        return true;
    MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0, "%s; port %d %s proto failed\n\r", change.name,
               port->portunit, direction == MvrpProtocolSwitch::Enable ? "enable" : "disable");
    mvrpPortProtocolFailed(port->portunit, direction, kProtocolGvrp, name);
    return false;
}

/// Puts back every port that counts as switched, those that were so before the change too.
void mvrpComplianceRollBack(const MvrpComplianceChange& change, MvrpInterfaceName* name) {
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        if (port->enable == 0 || port->gvrpCompliance != change.portBit)
            continue;
        mvrpPortGvrpSwitch(change, port, change.rollBack, name);
        port->gvrpCompliance = change.portBit == 0 ? 1 : 0;
    }
}

u32 mvrpComplianceApply(const MvrpComplianceChange& change) {
    MvrpInterfaceName name = {};
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        if (port->enable == 0)
            continue;
        if (!mvrpPortGvrpSwitch(change, port, change.direction, &name)) {
            mvrpComplianceRollBack(change, &name);
            gMvrpInfo.gvrpCompliance = change.failure;
            return kStatusFailed;
        }
        port->gvrpCompliance = change.portBit != 0 ? 1 : 0;
        // The global byte changes only at the end: this still runs as without compliance.
        if (change.declaresStatics)
            mvrpPortDeclareStaticVlans(port, kMvrpVlanFirst, "compliance gvrp");
    }
    gMvrpInfo.gvrpCompliance = change.result;
    return kStatusOk;
}

}  // namespace

u32 mvrpEnable() {
    const u32 bytes = kMvrpRouteReceiveBufferBytes;
    if (qor_setsockopt(gMvrpInfo.routeSock, kQorLevelSocket, kQorOptionReceiveBuffer, &bytes,
                       sizeof(bytes)) != 0) {
        mvrpModeTrace("set rt socket receive buffer failed \n\r");
        return kStatusFailed;
    }
    if (mvrpMemInit() != 0) {
        mvrpModeTrace("memory alloc fail\r\n");
        return MVRP_ERR_NO_MEMORY;
    }
    gMvrpInfo.gvrpCompliance = MVRP_OFF;
    gMvrpInfo.enable = MVRP_ON;
    return kStatusOk;
}

u32 mvrpDisable() {
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port))
        mvrpPortEntryDisable(port);
    mvrpPortVlanDel();
    if (mvrpMemFree() != 0) {
        mvrpModeTrace("mempry free fail\r\n");
        return MVRP_ERR_POOL_BUSY;
    }
    gMvrpInfo.gvrpCompliance = MVRP_OFF;
    gMvrpInfo.enable = MVRP_OFF;
    return kStatusOk;
}

u32 mvrpComplianceGvrp() {
    return mvrpComplianceApply(kComplianceOn);
}

u32 mvrpUncomplianceGvrp() {
    return mvrpComplianceApply(kComplianceOff);
}
