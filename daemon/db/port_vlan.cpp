// SPDX-License-Identifier: MIT
#include "daemon/db/port_vlan.h"

#include "daemon/base/corrections.h"
#include "daemon/base/info.h"

namespace {

constexpr size_t kPlaces = 1024;

struct MvrpPairPlace {
    u64 epoch;  ///< MvrpInfo::pairEpoch of the tree that it is about; another: the place is free
    u32 portUnit;
    MvrpVlanBitmap vlans;
};

std::array<MvrpPairPlace, kPlaces> gPlaces;
u64 gLastEpoch;

/// The number of the present tree.
u64 mvrpPairEpoch() {
    if (gMvrpInfo.pairEpoch == 0)
        gMvrpInfo.pairEpoch = ++gLastEpoch;
    return gMvrpInfo.pairEpoch;
}

MvrpPairPlace* mvrpPairPlace(u32 portUnit) {
    return &gPlaces[portUnit % gPlaces.size()];
}

/// @return the bitmap of a port that has one
MvrpVlanBitmap* mvrpPairMapKept(u32 portUnit) {
    MvrpPairPlace* place = mvrpPairPlace(portUnit);
    const bool kept = place->epoch == mvrpPairEpoch() && place->portUnit == portUnit;
    return kept ? &place->vlans : nullptr;
}

/// Pause before a pair is applied that found no other waiting, in milliseconds (correction).
constexpr u32 kPendingSoonMs = 20;

/// Has the first pair that waits applied soon, if that is corrected: else it waits for the idle
/// timer, up to a second.
void mvrpPendingHasten(u32 portUnit, u32 vid) {
    if (!mvrpCorrects(Correction::ApplySoon) ||
        silTimerRemain(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer) <= kPendingSoonMs)
        return;
    correctionActed(Correction::ApplySoon, portUnit, vid);
    silTimerStop(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer);
    silTimerStart(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer, 0, kPendingSoonMs,
                  gMvrpInfo.pendingHandler, nullptr, nullptr, nullptr);
}

/// A pair was added to the tree, or taken out of it.
void mvrpPairMapAdd(u32 portUnit, u32 vid) {
    if (MvrpVlanBitmap* vlans = mvrpPairMapKept(portUnit); vlans != nullptr && mvrpVlanIdHas(vid))
        mvrpBitSet(vlans->data(), vid - 1);
}

void mvrpPairMapRemove(u32 portUnit, u32 vid) {
    if (MvrpVlanBitmap* vlans = mvrpPairMapKept(portUnit); vlans != nullptr && mvrpVlanIdHas(vid))
        mvrpBitClear(vlans->data(), vid - 1);
}

}  // namespace

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
    if (avl_is_empty(&gMvrpInfo.portVlanTree))
        mvrpPendingHasten(portUnit, vid);
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

const MvrpVlanBitmap* mvrpPairMap(u32 portUnit) {
    if (const MvrpVlanBitmap* kept = mvrpPairMapKept(portUnit))
        return kept;
    MvrpPairPlace* place = mvrpPairPlace(portUnit);
    if (place->epoch == mvrpPairEpoch())
        return nullptr;
    *place = {mvrpPairEpoch(), portUnit, {}};
    MvrpPairCursor pairs(portUnit);
    for (u32 vid = pairs.seek(kMvrpVlanFirst); vid != 0 && vid <= kMvrpVlanLast;
         vid = pairs.seek(vid + 1))
        mvrpBitSet(place->vlans.data(), vid - 1);
    return &place->vlans;
}

void mvrpPairMapForget(u32 portUnit) {
    if (mvrpPairMapKept(portUnit) != nullptr)
        mvrpPairPlace(portUnit)->epoch = 0;
}
