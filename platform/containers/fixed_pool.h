// SPDX-License-Identifier: MIT
//
// The fixed-size pool behind the contract's silMemPool* calls: one mapping whose pages stay
// untouched until used, a free list threaded through the returned items, constant-time alloc and
// free. Items come out zeroed: fresh pages are, and a returned item is cleared.
//
// Not locked: the owner of a pool serialises every call on it.
#pragma once

#include "platform/contract/sil.h"

namespace platform {

/// @return whether there was memory; on failure the pool is as if never created
bool fixedPoolInit(SilMemPool& pool, const char* name, u32 count, u32 itemSize);
void* fixedPoolAlloc(SilMemPool& pool);
/// `item` must be one of this pool's, handed out.
void fixedPoolFree(SilMemPool& pool, void* item);
void fixedPoolDestroy(SilMemPool& pool);

}  // namespace platform
