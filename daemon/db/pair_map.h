// SPDX-License-Identifier: MIT
//
// Which VLANs of a port have a pending pair, as a bitmap beside the tree of pairs: so the question
// costs no search. A bitmap is made from the tree when it is first asked for, and kept from then
// on. There are fewer bitmaps than units, which share places; a port whose place is taken has none.
//
// Lock: gMvrpInfo.sem held by the caller. Memory: static, none is allocated.
#pragma once

#include "daemon/db/bitmap.h"

/// @return the VLANs of the port that have a pair; null where only the tree knows. Good until a
/// port is deleted.
const MvrpVlanBitmap* mvrpPairMap(u32 portUnit);

/// A pair was added to the tree, or taken out of it.
void mvrpPairMapAdd(u32 portUnit, u32 vid);
void mvrpPairMapRemove(u32 portUnit, u32 vid);

/// The port is being deleted: its place is free.
void mvrpPairMapForget(u32 portUnit);
