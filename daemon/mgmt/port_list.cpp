// SPDX-License-Identifier: MIT
//
// The list of ports: requests 1 and 2 of the command channel.
#include "daemon/base/lock.h"
#include "daemon/base/trace.h"
#include "daemon/mgmt/config.h"

u32 mvrpPortGetFirst(u32* portUnit) {
    mvrpLock();
    const MvrpPortEntry* first = mvrpPortEntryFirst();
    if (first == nullptr) {
        mvrpUnlock();
        MVRP_TRACE(MVRP_DEBUG_DATABASE, 0, 0, "port get first; ERROR!\r\n");
        return MVRP_ERR_NO_PORT;
    }
    *portUnit = first->portunit;
    MVRP_TRACE(MVRP_DEBUG_DATABASE, *portUnit, 0, "get first port.(%u)\n\r", *portUnit);
    mvrpUnlock();
    return kStatusOk;
}

u32 mvrpPortGetNext(u32 portUnit, u32* nextUnit) {
    mvrpLock();
    const MvrpPortEntry* entry = mvrpPortEntryFirst();
    while (entry != nullptr && entry->portunit <= portUnit)
        entry = mvrpPortEntryNext(entry);
    if (entry == nullptr) {
        mvrpUnlock();
        MVRP_TRACE(MVRP_DEBUG_DATABASE, 0, 0, "port get next. error!\r\n");
        return MVRP_ERR_NO_PORT;
    }
    *nextUnit = entry->portunit;
    mvrpUnlock();
    return kStatusOk;
}
