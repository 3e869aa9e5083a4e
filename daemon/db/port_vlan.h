// SPDX-License-Identifier: MIT
//
// Pending pairs: a MvrpPortVlanEntry marks that a VLAN on a port has a change waiting to be applied
// to the switch. Its existence is the information; what is pending stands in the port's `vlanFlag`.
// Existence is a bit of the unit's place, beside an item of the pool that bounds how many pairs
// there can be; any item serves any pair.
//
// Lock: all functions run with gMvrpInfo.sem held by the caller.
#pragma once

#include <compare>
#include <optional>

#include "daemon/db/unit_place.h"

/// A pair, ordered by port unit, then VLAN ID.
struct MvrpPortVlanEntry {
    u32 portUnit;
    u16 vid;  ///< 1 to 4095

    auto operator<=>(const MvrpPortVlanEntry&) const = default;
};

/// Bytes of a pair in its pool. There are as many as ports times VLANs.
inline constexpr u32 kMvrpPortVlanEntryBytes = 24;

/// What a pair's item of the pool holds.
struct MvrpPairItem {
    MvrpPairItem* next;  ///< of another pair, in no order; null: none
};
static_assert(sizeof(MvrpPairItem) <= kMvrpPortVlanEntryBytes);

/// Whether a pair is there.
inline bool mvrpPortVlanEntryGet(u32 portUnit, u32 vid) {
    const MvrpUnitPlace* place = mvrpUnitPlace(portUnit);
    return place != nullptr && mvrpVlanIdHas(vid) && mvrpBitTest(place->pairs.data(), vid - 1) != 0;
}
/// Whether there is no pair at all.
inline bool mvrpPairsEmpty() {
    return gMvrpInfo.pairItems == nullptr;
}

/// Adds a pair that is not there yet. @return false when the pool is exhausted
bool mvrpPortVlanEntryAdd(u32 portUnit, u32 vid);
/// Adds the pair unless it is there. @return whether it was missing, also when the pool is
/// exhausted
bool mvrpPortVlanEntryEnsure(u32 portUnit, u32 vid);
/// Deletes a pair; one that is not there is accepted. @return 0
u32 mvrpPortVlanEntryDel(u32 portUnit, u32 vid);
/// Deletes all pairs of a unit, and then its place when it has no port entry.
void mvrpPortVlanEntriesDel(u32 portUnit);

/// @return the pair of the lowest unit's lowest VLAN, or none
std::optional<MvrpPortVlanEntry> mvrpPortVlanEntryFirst();
/// @return the pair behind another, which need not be there any more, or none
std::optional<MvrpPortVlanEntry> mvrpPortVlanEntryNext(const MvrpPortVlanEntry& pair);
