// SPDX-License-Identifier: MIT
//
// What is known of each unit: its port entry, and the VLANs that have a pending pair. One flat
// array in order of the units, so that a walk over all pairs is a walk over bitmaps, and a look-up
// by unit is a subtraction where units have no gaps, and a binary search elsewhere. Its memory has
// room for every port entry, so that nothing is allocated while the protocol runs, and lives as
// long as the pools do.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <span>

#include "daemon/base/bitmap.h"
#include "daemon/base/info.h"

struct MvrpPortEntry;

struct MvrpUnitPlace {
    u32 unit;
    u32 pairNum;           ///< bits of `pairs`
    MvrpPortEntry* port;   ///< the first entry of the unit in the port list; null: none
    MvrpVlanBitmap pairs;  ///< VLANs with a pending pair
};

/// Makes room for `units` units. @return whether there was memory
bool mvrpUnitPlacesInit(u32 units);
/// Gives the room back, with whatever stands in it. Without effect when there is none.
void mvrpUnitPlacesFree();

/// All places, ascending by unit.
inline std::span<MvrpUnitPlace> mvrpUnitPlaces() {
    return {gMvrpInfo.unitPlaces, gMvrpInfo.unitNum};
}

/// The first place from a unit on, whether it is of that unit or of a higher one.
std::span<MvrpUnitPlace>::iterator mvrpUnitPlaceFrom(u32 unit);

/// @return the place of a unit, or null; good until a place is made or given up
inline MvrpUnitPlace* mvrpUnitPlace(u32 unit) {
    const std::span<MvrpUnitPlace> places = mvrpUnitPlaces();
    if (places.empty())
        return nullptr;
    const u32 distance = unit - places.front().unit;
    if (distance < places.size() && places[distance].unit == unit) [[likely]]
        return &places[distance];
    const auto from = mvrpUnitPlaceFrom(unit);
    return from != places.end() && from->unit == unit ? &*from : nullptr;
}

/// Makes the place of a unit that has none. @return it, or null when there is no memory
MvrpUnitPlace* mvrpUnitPlaceEnsure(u32 unit);
/// Gives the place of a unit up when it has neither a port entry nor pairs.
void mvrpUnitPlaceRelease(u32 unit);
