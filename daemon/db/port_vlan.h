// SPDX-License-Identifier: MIT
//
// Pending pairs: a MvrpPortVlanEntry marks that a VLAN on a port has a change waiting to be applied
// to the switch. Its existence is the information; what is pending stands in the port's `vlanFlag`.
//
// Lock: all functions run with gMvrpInfo.sem held by the caller.
#pragma once

#include <cstddef>

#include "daemon/base/bitmap.h"
#include "platform/contract/avl.h"

struct MvrpPortVlanEntry {
    AvlNode link;
    u32 portUnit;
    u16 vid;  ///< 1 to 4095
};

/// Bytes of a pair in its pool and in the tree. There are as many as ports times VLANs.
inline constexpr u32 kMvrpPortVlanEntryBytes = 24;
static_assert(sizeof(MvrpPortVlanEntry) == kMvrpPortVlanEntryBytes);
static_assert(offsetof(MvrpPortVlanEntry, link) == 0);

/// Order of the tree: port unit, then VLAN ID; a null record is less than any. @return -1, 0 or 1
int mvrpPortVlanComp(const void* a, const void* b);

/// Pool access with gMvrpInfo.vlanEntryNum kept.
MvrpPortVlanEntry* mvrpPortVlanEntryAlloc();
void mvrpPortVlanEntryFree(MvrpPortVlanEntry* entry);

/// @return the pair, or null
MvrpPortVlanEntry* mvrpPortVlanEntryGet(u32 portUnit, u16 vid);
/// Adds a pair that is not there yet. @return it, or null when the pool is exhausted
MvrpPortVlanEntry* mvrpPortVlanEntryAdd(u32 portUnit, u16 vid);
/// Adds the pair unless it is there. @return whether it was missing, also when the pool is
/// exhausted
bool mvrpPortVlanEntryEnsure(u32 portUnit, u32 vid);
/// Deletes a pair; null is accepted. @return 0
u32 mvrpPortVlanEntryDel(MvrpPortVlanEntry* entry);

/// The pairs of one port in order of their VLAN IDs. A look-up that goes on from the one before it
/// costs a step or two in the tree in place of a search. While it is used, pairs of the port are
/// deleted through it only, and none is added.
class MvrpPairCursor {
  public:
    explicit MvrpPairCursor(u32 portUnit) : unit_(portUnit) {}

    /// Goes to the first pair of `vid` or a higher VLAN. @return its VLAN ID, 0 when there is none
    u32 seek(u32 vid);
    /// Goes to the pair of a VLAN. @return whether it is there
    bool find(u32 vid) { return seek(vid) == vid; }
    /// Deletes the pair that the last seek() found, and goes to the one behind it.
    void erase();

  private:
    /// Steps that are tried before a search.
    static constexpr u32 kSteps = 4;

    MvrpPortVlanEntry* search(u32 vid) const;
    u32 vidHere() const { return at_ != nullptr && at_->portUnit == unit_ ? at_->vid : 0; }

    u32 unit_;
    MvrpPortVlanEntry* at_ = nullptr;
    u32 sought_ = 0;  ///< no pair of the port lies from here to `at_`; 0: nothing is known
};

/// Which VLANs of a port have a pair, as a bitmap beside the tree: so the question costs no search.
/// A bitmap is made from the tree when it is first asked for, and kept from then on. There are
/// fewer bitmaps than units, which share places; a port whose place is taken has none. Memory:
/// static.
/// @return the VLANs of the port that have a pair; null where only the tree knows. Good until a
/// port is deleted.
const MvrpVlanBitmap* mvrpPairMap(u32 portUnit);
/// The port is being deleted: its place is free.
void mvrpPairMapForget(u32 portUnit);
