// SPDX-License-Identifier: MIT
#include "daemon/map/registered.h"

#include "daemon/fsm/machines.h"

namespace {

bool mvrpCounts(const MvrpPortEntry* port, const MvrpPortEntry* source) {
    return port->enable != 0 && port->portunit != source->portunit;
}

}  // namespace

bool mvrpRegisteredOnOther(u32 vid, const MvrpPortEntry* port) {
    for (const MvrpPortEntry* other = mvrpPortEntryFirst(); other != nullptr;
         other = mvrpPortEntryNext(other))
        if (mvrpCounts(other, port) && mvrpRegisteredHere(other->madMachine[vid - 1]))
            return true;
    return false;
}

bool mvrpNeededOn(const MvrpPortEntry* target, u32 vid, const MvrpPortEntry* source) {
    if (mvrpRegistrar(target->madMachine[vid - 1]) == REG_STATE_INF)
        return true;
    for (const MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port))
        if (port != target && mvrpCounts(port, source) &&
            mvrpRegisteredHere(port->madMachine[vid - 1]))
            return true;
    return false;
}

MvrpRegisteredElsewhere::MvrpRegisteredElsewhere(const MvrpPortEntry* source) {
    for (const MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        MvrpVlanBitmap own;
        if (!mvrpCounts(port, source) ||
            !gMvrpBytes.mark(mvrpMachines(port), kMvrpRegisteredMachines, &own))
            continue;
        MvrpVlanBitmap again = own;
        mvrpBitmapKeep(&again, once_);
        mvrpBitmapAdd(&twice_, again);
        mvrpBitmapAdd(&once_, own);
    }
}

MvrpVlanBitmap MvrpRegisteredElsewhere::neededOn(const MvrpPortEntry* target) const {
    MvrpVlanBitmap own;
    gMvrpBytes.mark(mvrpMachines(target), kMvrpRegisteredMachines, &own);
    MvrpVlanBitmap needed = once_;
    mvrpBitmapRemove(&needed, own);
    mvrpBitmapAdd(&needed, twice_);
    MvrpVlanBitmap fixed;
    gMvrpBytes.mark(mvrpMachines(target), kMvrpFixedMachines, &fixed);
    mvrpBitmapAdd(&needed, fixed);
    return needed;
}
