// SPDX-License-Identifier: MIT
#include "daemon/db/port_vlan.h"

#include <utility>

#include "daemon/base/corrections.h"

namespace {

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

bool mvrpPairItemTake() {
    auto* item = static_cast<MvrpPairItem*>(silMemPoolAlloc(&gMvrpInfo.vlanPool, 0));
    if (item == nullptr)
        return false;
    item->next = std::exchange(gMvrpInfo.pairItems, item);
    ++gMvrpInfo.vlanEntryNum;
    return true;
}

void mvrpPairItemGiveBack() {
    MvrpPairItem* item = gMvrpInfo.pairItems;
    gMvrpInfo.pairItems = item->next;
    item->next = nullptr;
    silMemPoolFree(&gMvrpInfo.vlanPool, item);
    --gMvrpInfo.vlanEntryNum;
}

void mvrpPairErase(MvrpUnitPlace* place, u32 vid) {
    mvrpBitClear(place->pairs.data(), vid - 1);
    --place->pairNum;
    mvrpPairItemGiveBack();
}

/// @return the first pair from a place and VLAN index on, or none
std::optional<MvrpPortVlanEntry> mvrpPairFrom(std::span<MvrpUnitPlace>::iterator at, u32 index) {
    const auto end = mvrpUnitPlaces().end();
    for (; at != end; ++at, index = 0) {
        if (at->pairNum == 0)
            continue;
        index = mvrpBitmapNext(at->pairs, index);
        if (index < kMvrpBitmapBits)
            return MvrpPortVlanEntry{at->unit, static_cast<u16>(index + 1)};
    }
    return std::nullopt;
}

}  // namespace

bool mvrpPortVlanEntryAdd(u32 portUnit, u32 vid) {
    MvrpUnitPlace* place = mvrpVlanIdHas(vid) ? mvrpUnitPlaceEnsure(portUnit) : nullptr;
    const bool first = mvrpPairsEmpty();
    if (place == nullptr || !mvrpPairItemTake())
        return false;
    if (first)
        mvrpPendingHasten(portUnit, vid);
    mvrpBitSet(place->pairs.data(), vid - 1);
    ++place->pairNum;
    return true;
}

bool mvrpPortVlanEntryEnsure(u32 portUnit, u32 vid) {
    const bool missing = !mvrpPortVlanEntryGet(portUnit, vid);
    if (missing)
        mvrpPortVlanEntryAdd(portUnit, vid);
    return missing;
}

u32 mvrpPortVlanEntryDel(u32 portUnit, u32 vid) {
    if (mvrpPortVlanEntryGet(portUnit, vid))
        mvrpPairErase(mvrpUnitPlace(portUnit), vid);
    return 0;
}

void mvrpPortVlanEntriesDel(u32 portUnit) {
    MvrpUnitPlace* place = mvrpUnitPlace(portUnit);
    if (place == nullptr)
        return;
    mvrpForEachVlan(place->pairs, [place](u32 vid) { mvrpPairErase(place, vid); });
    mvrpUnitPlaceRelease(portUnit);
}

std::optional<MvrpPortVlanEntry> mvrpPortVlanEntryFirst() {
    return mvrpPairFrom(mvrpUnitPlaces().begin(), 0);
}

std::optional<MvrpPortVlanEntry> mvrpPortVlanEntryNext(const MvrpPortVlanEntry& pair) {
    const MvrpUnitPlace* place = mvrpUnitPlace(pair.portUnit);
    const auto at = place != nullptr ? mvrpUnitPlaces().begin() + (place - gMvrpInfo.unitPlaces)
                                     : mvrpUnitPlaceFrom(pair.portUnit);
    return mvrpPairFrom(at, place != nullptr ? pair.vid : 0);
}
