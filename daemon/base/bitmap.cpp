// SPDX-License-Identifier: MIT
#include "daemon/base/bitmap.h"

static_assert(kMvrpBitmapBits == kMvrpVlanCount + 1);
static_assert([] {
    MvrpVlanBitmap bitmap = {};
    mvrpBitSet(bitmap.data(), 0);
    mvrpBitSet(bitmap.data(), kMvrpBitmapBits - 1);
    return bitmap.front() == 0x80 && bitmap.back() == 0x01;
}());

namespace {

/// The bits of a word in the opposite order.
u64 mvrpWordTurned(u64 word) {
    constexpr u64 kPairs = 0x5555555555555555;
    constexpr u64 kFours = 0x3333333333333333;
    constexpr u64 kEights = 0x0F0F0F0F0F0F0F0F;
    word = __builtin_bswap64(word);
    word = (word >> 1U & kPairs) | (word & kPairs) << 1U;
    word = (word >> 2U & kFours) | (word & kFours) << 2U;
    return (word >> 4U & kEights) | (word & kEights) << 4U;
}

u32 mvrpLowestBit(u64 word) {
    return static_cast<u32>(std::countr_zero(word));
}

}  // namespace

u32 mvrpBitmapRuns(const MvrpVlanBitmap& bitmap, MvrpBitRuns* runs) {
    constexpr u32 kWordBits = 64;
    // Beginnings and ends are found apart, so that none waits for the one before it.
    u32 begun = 0;
    u32 ended = 0;
    u64 before = 0;
    u64 word = mvrpBitmapWord(bitmap, 0);
    for (u32 start = 0; start < kMvrpBitmapBits; start += kWordBits) {
        const u32 nextByte = (start + kWordBits) / 8;
        const u64 next = nextByte < bitmap.size() ? mvrpBitmapWord(bitmap, nextByte) : 0;
        u64 begins = word & ~(word >> 1U | before << (kWordBits - 1));
        u64 ends = word & ~(word << 1U | next >> (kWordBits - 1));
        before = word & 1U;
        word = next;
        if ((begins | ends) == 0)
            continue;
        // The first of them lowest, which is cheaper to take out.
        begins = mvrpWordTurned(begins);
        ends = mvrpWordTurned(ends);
        for (; begins != 0; begins &= begins - 1)
            (*runs)[begun++].index = static_cast<u16>(start + mvrpLowestBit(begins));
        for (; ends != 0; ends &= ends - 1) {
            MvrpBitRun& run = (*runs)[ended++];
            run.count = static_cast<u16>(start + mvrpLowestBit(ends) + 1 - run.index);
        }
    }
    return ended;
}

void mvrpBitmapIntersect(std::span<u8> destination, std::span<const u8> a, std::span<const u8> b,
                         u32 bits) {
    const u32 wholeBytes = bits / 8;
    for (u32 i = 0; i < wholeBytes; ++i)
        destination[i] = a[i] & b[i];

    const u32 rest = bits % 8;
    if (rest != 0) {
        const u32 firstBits = 0xFF00U >> rest;
        destination[wholeBytes] = static_cast<u8>(a[wholeBytes] & b[wholeBytes] & firstBits);
    }
}
