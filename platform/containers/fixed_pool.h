// SPDX-License-Identifier: MIT
//
// The fixed-size pool behind the contract's silMemPool* calls: one mapping whose pages stay
// untouched until used, a free list threaded through the returned items, constant-time alloc and
// free. Items come out zeroed: fresh pages are, and a returned item is cleared. A pool that comes
// to be empty after it held a mebibyte or more gives its pages back.
//
// Not locked: the owner of a pool serialises every call on it.
#pragma once

#include "platform/contract/sil.h"

namespace platform {

/// Creates a pool of `count` items of `itemSize` bytes, rounded up to a multiple of 8; items are
/// aligned to 8 bytes. A count of 0 makes a pool that exists and is always exhausted.
/// @return whether there was memory; on failure the pool is as if never created
bool fixedPoolInit(SilMemPool& pool, const char* name, u32 count, u32 itemSize);
/// @return a zeroed item, or null when all are in use or the pool does not exist
void* fixedPoolAlloc(SilMemPool& pool);
/// `item` must be one of this pool's, handed out; anything else is a defect of the caller.
void fixedPoolFree(SilMemPool& pool, void* item);
/// Releases the memory, whatever is still handed out; a pool that does not exist is left as it is.
void fixedPoolDestroy(SilMemPool& pool);

}  // namespace platform
