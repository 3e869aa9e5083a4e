// SPDX-License-Identifier: MIT
#include "platform/containers/fixed_pool.h"

u32 silMemPoolInit(SilMemPool* pool, const char* name, u32 count, u32 itemSize, u32) {
    return platform::fixedPoolInit(*pool, name, count, itemSize) ? kStatusOk : kStatusFailed;
}

void* silMemPoolAlloc(SilMemPool* pool, u32) {
    return platform::fixedPoolAlloc(*pool);
}

void silMemPoolFree(SilMemPool* pool, void* item) {
    platform::fixedPoolFree(*pool, item);
}

u32 silMemPoolDestroy(SilMemPool* pool) {
    if (pool->items == nullptr)
        return kStatusFailed;
    platform::fixedPoolDestroy(*pool);
    return kStatusOk;
}
