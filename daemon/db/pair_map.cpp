// SPDX-License-Identifier: MIT
#include "daemon/db/pair_map.h"

#include "daemon/db/port_vlan.h"

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

}  // namespace

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

void mvrpPairMapAdd(u32 portUnit, u32 vid) {
    if (MvrpVlanBitmap* vlans = mvrpPairMapKept(portUnit); vlans != nullptr && mvrpVlanIdHas(vid))
        mvrpBitSet(vlans->data(), vid - 1);
}

void mvrpPairMapRemove(u32 portUnit, u32 vid) {
    if (MvrpVlanBitmap* vlans = mvrpPairMapKept(portUnit); vlans != nullptr && mvrpVlanIdHas(vid))
        mvrpBitClear(vlans->data(), vid - 1);
}

void mvrpPairMapForget(u32 portUnit) {
    if (mvrpPairMapKept(portUnit) != nullptr)
        mvrpPairPlace(portUnit)->epoch = 0;
}
