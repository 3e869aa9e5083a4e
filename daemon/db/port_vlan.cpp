// SPDX-License-Identifier: MIT
#include "daemon/db/port_vlan.h"

#include <cstring>

#include "daemon/core/trace.h"
#include "daemon/db/pair_map.h"
#include "platform/contract/qor_vlan.h"

int mvrpPortVlanComp(const void* a, const void* b) {
    if (a == nullptr)
        return -1;
    if (b == nullptr)
        return 1;
    const auto* left = static_cast<const MvrpPortVlanEntry*>(a);
    const auto* right = static_cast<const MvrpPortVlanEntry*>(b);
    if (left->portUnit != right->portUnit)
        return left->portUnit < right->portUnit ? -1 : 1;
    if (left->vid != right->vid)
        return left->vid < right->vid ? -1 : 1;
    return 0;
}

MvrpPortVlanEntry* mvrpPortVlanEntryAlloc() {
    auto* entry = static_cast<MvrpPortVlanEntry*>(silMemPoolAlloc(&gMvrpInfo.vlanPool, 0));
    if (entry == nullptr)
        return nullptr;
    *entry = {};
    ++gMvrpInfo.vlanEntryNum;
    return entry;
}

void mvrpPortVlanEntryFree(MvrpPortVlanEntry* entry) {
    *entry = {};
    silMemPoolFree(&gMvrpInfo.vlanPool, entry);
    --gMvrpInfo.vlanEntryNum;
}

MvrpPortVlanEntry* mvrpPortVlanEntryGet(u32 portUnit, u16 vid) {
    const MvrpPortVlanEntry key = {{}, portUnit, vid};
    AvlIndex where = {};
    return static_cast<MvrpPortVlanEntry*>(avl_find(&gMvrpInfo.portVlanTree, &key, &where));
}

MvrpPortVlanEntry* mvrpPortVlanEntryAdd(u32 portUnit, u16 vid) {
    MvrpPortVlanEntry* entry = mvrpPortVlanEntryAlloc();
    if (entry == nullptr)
        return nullptr;
    entry->portUnit = portUnit;
    entry->vid = vid;
    avl_add(&gMvrpInfo.portVlanTree, entry);
    mvrpPairMapAdd(portUnit, vid);
    return entry;
}

bool mvrpPortVlanEntryEnsure(u32 portUnit, u32 vid) {
    const u16 key = static_cast<u16>(vid);
    const MvrpVlanBitmap* pairs = mvrpPairMap(portUnit);
    const bool present = pairs != nullptr && mvrpVlanIdHas(vid)
                             ? mvrpBitTest(pairs->data(), vid - 1) != 0
                             : mvrpPortVlanEntryGet(portUnit, key) != nullptr;
    if (!present)
        mvrpPortVlanEntryAdd(portUnit, key);
    return !present;
}

u32 mvrpPortVlanEntryDel(MvrpPortVlanEntry* entry) {
    if (entry == nullptr)
        return 0;
    avl_remove(&gMvrpInfo.portVlanTree, entry);
    mvrpPairMapRemove(entry->portUnit, entry->vid);
    mvrpPortVlanEntryFree(entry);
    return 0;
}

/// @return the first pair of the port from `vid` on, or the one behind all of its pairs, or null
MvrpPortVlanEntry* MvrpPairCursor::search(u32 vid) const {
    const MvrpPortVlanEntry key = {{}, unit_, static_cast<u16>(vid)};
    AvlIndex where = {};
    void* found = avl_find(&gMvrpInfo.portVlanTree, &key, &where);
    if (found != nullptr || where.node == nullptr)
        return static_cast<MvrpPortVlanEntry*>(found);
    // A search that finds nothing ends beside the place, at one of the two neighbours.
    auto* beside = reinterpret_cast<MvrpPortVlanEntry*>(where.node);
    if (mvrpPortVlanComp(beside, &key) < 0)
        beside = static_cast<MvrpPortVlanEntry*>(avl_walk(&gMvrpInfo.portVlanTree, beside, 1));
    return beside;
}

u32 MvrpPairCursor::seek(u32 vid) {
    const bool onTheWay = sought_ != 0 && vid >= sought_;
    sought_ = vid;
    if (!onTheWay) {
        at_ = search(vid);
        return vidHere();
    }
    for (u32 step = 0; step < kSteps; ++step) {
        const u32 here = vidHere();
        if (here == 0 || here >= vid)
            return here;
        at_ = static_cast<MvrpPortVlanEntry*>(avl_walk(&gMvrpInfo.portVlanTree, at_, 1));
    }
    if (vidHere() != 0 && vidHere() < vid)
        at_ = search(vid);
    return vidHere();
}

void MvrpPairCursor::erase() {
    auto* next = static_cast<MvrpPortVlanEntry*>(avl_walk(&gMvrpInfo.portVlanTree, at_, 1));
    mvrpPortVlanEntryDel(at_);
    at_ = next;
}

void mvrpVlanFlagRemovePending(MvrpPortEntry* port, u32 vid) {
    u8* flag = &port->vlanFlag[vid - 1];
    mvrpBitSet(flag, MVRP_FLAG_REMOVE);
    mvrpBitClear(flag, MVRP_FLAG_ADD);
}

void mvrpVlanFlagReset(MvrpPortEntry* port, u32 vid) {
    u8* flag = &port->vlanFlag[vid - 1];
    mvrpBitClear(flag, MVRP_FLAG_APPLIED);
    mvrpBitClear(flag, MVRP_FLAG_ADD);
    mvrpBitClear(flag, MVRP_FLAG_REMOVE);
}

s32 mvrpPortVlanClear(QorBuffer* bitmapDescriptor, MvrpPortEntry* port) {
    MvrpVlanBitmap none = {};
    QorBuffer noVlans = mvrpBitmapBuffer(none);
    if (qorIfSyncApi(port->portunit, static_cast<u32>(QorIfAttribute::RemoveDynamic), &noVlans) !=
        kStatusOk) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "port entry disable; remove vlan to port %u failed\n\r", port->portunit);
        return -1;
    }
    if (qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::DeleteDynamic),
                             bitmapDescriptor) != kStatusOk) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "port entry disable; remove mvrp vlan failed\n\r");
        return -1;
    }
    return 0;
}
