// SPDX-License-Identifier: MIT
#include "platform/containers/fixed_pool.h"

#include <sys/mman.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(MVRP_SANITIZE_ADDRESS)
#include <sanitizer/asan_interface.h>
#endif

namespace platform {
namespace {

constexpr std::size_t kItemAlignment = 8;

/// A pool that is empty after it held so many bytes gives them back: what all VLANs of all ports
/// took comes again once in a while, and a page that does takes a small part of what filling it
/// did.
constexpr std::size_t kBytesWorthReturning = std::size_t{1} << 20;

// A build with the address sanitizer reports a touch of an item that was given back.
#if defined(MVRP_SANITIZE_ADDRESS)
void poison(const u8* bytes, std::size_t length) {
    __asan_poison_memory_region(bytes, length);
}
void unpoison(const u8* bytes, std::size_t length) {
    __asan_unpoison_memory_region(bytes, length);
}
#else
void poison(const u8*, std::size_t) {}
void unpoison(const u8*, std::size_t) {}
#endif

/// Bytes of the mapping: never 0, which could not be mapped.
std::size_t mappingBytes(const SilMemPool& pool) {
    return std::max(std::size_t{pool.itemSize} * pool.itemCount, kItemAlignment);
}

u8* itemAt(const SilMemPool& pool, u32 index) {
    return pool.items + std::size_t{index} * pool.itemSize;
}

/// Index of an item, or the item count when `item` is none of the pool's.
u32 indexOf(const SilMemPool& pool, const u8* item) {
    const auto offset =
        reinterpret_cast<std::uintptr_t>(item) - reinterpret_cast<std::uintptr_t>(pool.items);
    const bool inside = offset < std::size_t{pool.itemSize} * pool.untouched;
    return inside && offset % pool.itemSize == 0 ? static_cast<u32>(offset / pool.itemSize)
                                                 : pool.itemCount;
}

/// Has the kernel take back the pages of a pool that is empty.
void returnPages(SilMemPool& pool) {
    // Without the pages the items are as fresh ones; poisoned they stay until they are handed out.
    if (madvise(pool.items, mappingBytes(pool), MADV_DONTNEED) != 0)
        return;
    pool.firstFree = 0;
    pool.untouched = 0;
}

}  // namespace

bool fixedPoolInit(SilMemPool& pool, const char* name, u32 count, u32 itemSize) {
    // In 64 bits: on a 32-bit machine both products could come round to a small number.
    const u64 stride =
        (std::max<u64>(itemSize, 1) + kItemAlignment - 1) / kItemAlignment * kItemAlignment;
    pool = SilMemPool{};
    if (stride > UINT32_MAX || count > PTRDIFF_MAX / stride)
        return false;
    pool.itemSize = static_cast<u32>(stride);
    pool.itemCount = count;
    pool.name = name;
    void* memory = mmap(nullptr, mappingBytes(pool), PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        pool = SilMemPool{};
        return false;
    }
    pool.items = static_cast<u8*>(memory);
    return true;
}

void* fixedPoolAlloc(SilMemPool& pool) {
    if (pool.items == nullptr || pool.used == pool.itemCount)
        return nullptr;
    pool.used++;
    u8* item = itemAt(pool, pool.firstFree == 0 ? pool.untouched : pool.firstFree - 1);
    unpoison(item, pool.itemSize);
    if (pool.firstFree == 0) {
        pool.untouched++;
        return item;
    }
    std::memcpy(&pool.firstFree, item, sizeof pool.firstFree);
    std::memset(item, 0, sizeof pool.firstFree);
    return item;
}

void fixedPoolFree(SilMemPool& pool, void* item) {
    auto* bytes = static_cast<u8*>(item);
    const u32 index = indexOf(pool, bytes);
    assert(index < pool.itemCount && pool.used > 0);
    if (index >= pool.itemCount || pool.used == 0)
        return;
    std::memset(bytes, 0, pool.itemSize);
    std::memcpy(bytes, &pool.firstFree, sizeof pool.firstFree);
    poison(bytes, pool.itemSize);
    pool.firstFree = index + 1;
    pool.used--;
    if (pool.used == 0 && std::size_t{pool.untouched} * pool.itemSize >= kBytesWorthReturning)
        returnPages(pool);
}

void fixedPoolDestroy(SilMemPool& pool) {
    if (pool.items == nullptr)
        return;
    unpoison(pool.items, mappingBytes(pool));
    munmap(pool.items, mappingBytes(pool));
    pool = SilMemPool{};
}

}  // namespace platform
