// SPDX-License-Identifier: MIT
#include "daemon/db/pools.h"

#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"

s32 mvrpMemInit() {
    if (silMemPoolInit(&gMvrpInfo.portPool, "mvrp_port", gMvrpInfo.maxPortNum, kMvrpPortEntryBytes,
                       0) != kStatusOk)
        return -1;
    if (silMemPoolInit(&gMvrpInfo.vlanPool, "mvrp_vlan",
                       gMvrpInfo.maxPortNum * gMvrpInfo.maxVlanNumPerIf, kMvrpPortVlanEntryBytes,
                       0) != kStatusOk) {
        silMemPoolDestroy(&gMvrpInfo.portPool);
        return -1;
    }
    if (!mvrpUnitPlacesInit(gMvrpInfo.maxPortNum)) {
        silMemPoolDestroy(&gMvrpInfo.portPool);
        silMemPoolDestroy(&gMvrpInfo.vlanPool);
        return -1;
    }
    return 0;
}

s32 mvrpMemFree() {
    while (MvrpPortEntry* port = mvrpPortEntryFirst())
        mvrpPortEntryDel(port);
    while (!mvrpUnitPlaces().empty())
        mvrpPortVlanEntriesDel(mvrpUnitPlaces().back().unit);
    mvrpUnitPlacesFree();
    const u32 portPool = silMemPoolDestroy(&gMvrpInfo.portPool);
    const u32 vlanPool = silMemPoolDestroy(&gMvrpInfo.vlanPool);
    return portPool == kStatusOk && vlanPool == kStatusOk ? 0 : -1;
}
