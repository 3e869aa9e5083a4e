// SPDX-License-Identifier: MIT
#include "daemon/db/unit_place.h"

#include <algorithm>
#include <cstdlib>

namespace {

bool mvrpUnitPlacesResize(u32 units) {
    void* memory = std::realloc(gMvrpInfo.unitPlaces, units * sizeof(MvrpUnitPlace));
    if (memory == nullptr)
        return false;
    gMvrpInfo.unitPlaces = static_cast<MvrpUnitPlace*>(memory);
    gMvrpInfo.unitRoom = units;
    return true;
}

/// Pairs of units without a port entry may need more room than there are entries.
bool mvrpUnitPlacesGrow() {
    return gMvrpInfo.unitRoom != 0 && mvrpUnitPlacesResize(gMvrpInfo.unitRoom * 2);
}

}  // namespace

bool mvrpUnitPlacesInit(u32 units) {
    return mvrpUnitPlacesResize(std::max(units, 1U));
}

void mvrpUnitPlacesFree() {
    std::free(gMvrpInfo.unitPlaces);
    gMvrpInfo.unitPlaces = nullptr;
    gMvrpInfo.unitRoom = 0;
    gMvrpInfo.unitNum = 0;
    gMvrpInfo.pairItems = nullptr;
}

std::span<MvrpUnitPlace>::iterator mvrpUnitPlaceFrom(u32 unit) {
    return std::ranges::lower_bound(mvrpUnitPlaces(), unit, {}, &MvrpUnitPlace::unit);
}

MvrpUnitPlace* mvrpUnitPlaceEnsure(u32 unit) {
    if (MvrpUnitPlace* place = mvrpUnitPlace(unit); place != nullptr)
        return place;
    if (gMvrpInfo.unitNum == gMvrpInfo.unitRoom && !mvrpUnitPlacesGrow())
        return nullptr;
    const auto at = mvrpUnitPlaceFrom(unit);
    const auto end = mvrpUnitPlaces().end();
    ++gMvrpInfo.unitNum;
    std::move_backward(at, end, mvrpUnitPlaces().end());
    *at = {unit, 0, nullptr, {}};
    return &*at;
}

void mvrpUnitPlaceRelease(u32 unit) {
    const MvrpUnitPlace* place = mvrpUnitPlace(unit);
    if (place == nullptr || place->port != nullptr || place->pairNum != 0)
        return;
    const auto at = mvrpUnitPlaceFrom(unit);
    std::move(at + 1, mvrpUnitPlaces().end(), at);
    --gMvrpInfo.unitNum;
}
