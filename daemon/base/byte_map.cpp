// SPDX-License-Identifier: MIT
//
// The plain form of the byte maps, the one in vector instructions, and the choice between them.
#include "daemon/base/byte_map.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

namespace {

void mvrpPlainApply(std::span<u8> bytes, const MvrpByteMap& map) {
    for (u8& byte : bytes)
        byte = map.table[byte];
}

void mvrpPlainApplyWhere(std::span<u8> bytes, const MvrpVlanBitmap& where, const MvrpByteMap& map) {
    for (u32 i = 0; i < bytes.size(); ++i)
        if (mvrpBitTest(where.data(), i) != 0)
            bytes[i] = map.table[bytes[i]];
}

u8 mvrpPlainLook(std::span<const u8> bytes, const MvrpByteMap& map, u8* out) {
    u8 all = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        out[i] = map.table[bytes[i]];
        all = static_cast<u8>(all | out[i]);
    }
    return all;
}

/// Sets the bits of marked bytes from `i` on. @return whether there is one
bool mvrpPlainMarkFrom(std::span<const u8> bytes, size_t i, const MvrpByteMarks& which,
                       MvrpVlanBitmap* marks) {
    bool any = false;
    for (; i < bytes.size(); ++i) {
        if (which.map.table[bytes[i]] != 0) {
            mvrpBitSet(marks->data(), static_cast<u32>(i));
            any = true;
        }
    }
    return any;
}

bool mvrpPlainMark(std::span<const u8> bytes, const MvrpByteMarks& which, MvrpVlanBitmap* marks) {
    *marks = {};
    return mvrpPlainMarkFrom(bytes, 0, which, marks);
}

bool mvrpPlainHas(std::span<const u8> bytes, const MvrpByteMarks& which) {
    return std::ranges::any_of(bytes, [&which](u8 byte) { return which.map.table[byte] != 0; });
}

bool mvrpPlainAll(std::span<const u8> bytes, u8 mask, u8 value) {
    return std::ranges::all_of(bytes, [mask, value](u8 byte) { return (byte & mask) == value; });
}

/// The same from `i` on, up to which all are as the first.
size_t mvrpPlainSameFrom(std::span<const u8> bytes, size_t i) {
    while (i < bytes.size() && bytes[i] == bytes[0])
        ++i;
    return i;
}

size_t mvrpPlainSame(std::span<const u8> bytes) {
    return mvrpPlainSameFrom(bytes, 0);
}

void mvrpPlainPack(std::span<const u8> events, u8* packed) {
    constexpr u32 kFirstWeight = 36;
    constexpr u32 kSecondWeight = 6;
    for (size_t i = 0; i < events.size(); i += 3) {
        const u32 second = i + 1 < events.size() ? events[i + 1] : 0U;
        const u32 third = i + 2 < events.size() ? events[i + 2] : 0U;
        *packed++ = static_cast<u8>(events[i] * kFirstWeight + second * kSecondWeight + third);
    }
}

}  // namespace

const MvrpByteForm kMvrpPlainForm = {mvrpPlainApply, mvrpPlainApplyWhere, mvrpPlainLook,
                                     mvrpPlainMark,  mvrpPlainHas,        mvrpPlainAll,
                                     mvrpPlainSame,  mvrpPlainPack};

#if MVRP_VECTOR && defined(__x86_64__)

#define MVRP_AVX2 [[gnu::target("avx2")]]
#define MVRP_AVX2_INLINE [[gnu::target("avx2"), gnu::always_inline]] static inline

namespace {

// The compiler's own names for the instructions: they need no header, and g++ and clang share them.
using Bytes16 = char __attribute__((vector_size(16)));
using Bytes32 = char __attribute__((vector_size(32)));
using Words16 = short __attribute__((vector_size(32)));
using Longs8 = int __attribute__((vector_size(32)));

constexpr size_t kBlock = sizeof(Bytes32);
/// Bytes that are passed over together when none of them has a needed bit.
constexpr size_t kStretch = 4 * kBlock;

/// A map's look-ups, each in both halves of a vector.
struct MvrpBlockMap {
    Bytes32 high0, high1, choice, low;
};

MVRP_AVX2_INLINE Bytes32 mvrpBlockLoad(const void* bytes) {
    Bytes32 block;
    std::memcpy(&block, bytes, sizeof(block));
    return block;
}

MVRP_AVX2_INLINE void mvrpBlockStore(void* bytes, Bytes32 block) {
    std::memcpy(bytes, &block, sizeof(block));
}

/// 16 bytes from each of two places.
MVRP_AVX2_INLINE Bytes32 mvrpBlockJoin(const void* first, const void* second) {
    Bytes16 halves[2];
    std::memcpy(&halves[0], first, sizeof(halves[0]));
    std::memcpy(&halves[1], second, sizeof(halves[1]));
    return __builtin_shufflevector(halves[0], halves[1], 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
                                   13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28,
                                   29, 30, 31);
}

MVRP_AVX2_INLINE Bytes32 mvrpBlockTwice(const MvrpHalfTable& half) {
    return mvrpBlockJoin(half.data(), half.data());
}

MVRP_AVX2_INLINE Bytes32 mvrpBlockFill(u8 byte) {
    return Bytes32{} + static_cast<char>(byte);
}

MVRP_AVX2_INLINE Bytes32 mvrpShuffle(Bytes32 table, Bytes32 indexes) {
    return __builtin_ia32_pshufb256(table, indexes);
}

MVRP_AVX2_INLINE u32 mvrpTopBits(Bytes32 block) {
    return static_cast<u32>(__builtin_ia32_pmovmskb256(block));
}

MVRP_AVX2_INLINE MvrpBlockMap mvrpBlockMap(const MvrpByteMap& map) {
    return {mvrpBlockTwice(map.high0), mvrpBlockTwice(map.high1), mvrpBlockTwice(map.choice),
            mvrpBlockTwice(map.low)};
}

/// Values of 32 bytes; `table` does those that the look-ups of 16 do not know.
MVRP_AVX2_INLINE Bytes32 mvrpBlockValues(Bytes32 bytes, const MvrpBlockMap& map,
                                         const MvrpByteTable& table) {
    const Bytes32 half = mvrpBlockFill(0x0F);
    const Bytes32 high = (Bytes32)((Words16)bytes >> 4) & half;
    const Bytes32 unknown = high > mvrpBlockFill(kMvrpHalfEnd - 1);
    if (mvrpTopBits(unknown) != 0) [[unlikely]] {
        u8 values[kBlock];
        mvrpBlockStore(values, bytes);
        for (u8& value : values)
            value = table[value];
        return mvrpBlockLoad(values);
    }
    const Bytes32 low = bytes & half;
    const Bytes32 choice = mvrpShuffle(map.choice, low);
    return (mvrpShuffle(map.high0, high) & choice) | (mvrpShuffle(map.high1, high) & ~choice) |
           mvrpShuffle(map.low, low);
}

/// The byte 0xFF for each of 32 bits of a bitmap that is set.
MVRP_AVX2_INLINE Bytes32 mvrpBlockChosen(const u8* bits) {
    const Bytes32 spread = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1,
                            2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3};
    const Longs8 masks = Longs8{0x10204080, 0x01020408, 0x10204080, 0x01020408,
                                0x10204080, 0x01020408, 0x10204080, 0x01020408};
    int word = 0;
    std::memcpy(&word, bits, sizeof(word));
    const Bytes32 chosen = mvrpShuffle((Bytes32)(Longs8{} + word), spread) & (Bytes32)masks;
    return (Bytes32)(chosen == (Bytes32)masks);
}

/// The marks of 32 values as 32 bits of a bitmap.
MVRP_AVX2_INLINE u32 mvrpBlockMarks(Bytes32 values) {
    const Bytes32 firstHighest = {7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8,
                                  7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8};
    return mvrpTopBits(mvrpShuffle(values, firstHighest));
}

MVRP_AVX2 void mvrpVectorApply(std::span<u8> bytes, const MvrpByteMap& map) {
    const MvrpBlockMap blockMap = mvrpBlockMap(map);
    u8* at = bytes.data();
    size_t left = bytes.size();
    for (; left >= kBlock; at += kBlock, left -= kBlock)
        mvrpBlockStore(at, mvrpBlockValues(mvrpBlockLoad(at), blockMap, map.table));
    mvrpPlainApply({at, left}, map);
}

MVRP_AVX2 void mvrpVectorApplyWhere(std::span<u8> bytes, const MvrpVlanBitmap& where,
                                    const MvrpByteMap& map) {
    const MvrpBlockMap blockMap = mvrpBlockMap(map);
    size_t i = 0;
    for (; i + kBlock <= bytes.size(); i += kBlock) {
        u32 word = 0;
        std::memcpy(&word, &where[i / 8], sizeof(word));
        if (word == 0)
            continue;
        const Bytes32 block = mvrpBlockLoad(&bytes[i]);
        const Bytes32 values = mvrpBlockValues(block, blockMap, map.table);
        if (word == ~u32{0}) {
            mvrpBlockStore(&bytes[i], values);
            continue;
        }
        const Bytes32 chosen = mvrpBlockChosen(&where[i / 8]);
        mvrpBlockStore(&bytes[i], (values & chosen) | (block & ~chosen));
    }
    for (; i < bytes.size(); ++i)
        if (mvrpBitTest(where.data(), static_cast<u32>(i)) != 0)
            bytes[i] = map.table[bytes[i]];
}

MVRP_AVX2 u8 mvrpVectorLook(std::span<const u8> bytes, const MvrpByteMap& map, u8* out) {
    const MvrpBlockMap blockMap = mvrpBlockMap(map);
    Bytes32 all = {};
    size_t i = 0;
    for (; i + kBlock <= bytes.size(); i += kBlock) {
        const Bytes32 values = mvrpBlockValues(mvrpBlockLoad(&bytes[i]), blockMap, map.table);
        mvrpBlockStore(out + i, values);
        all |= values;
    }
    const u8 rest = mvrpPlainLook(bytes.subspan(i), map, out + i);
    u8 parts[kBlock];
    mvrpBlockStore(parts, all);
    return std::accumulate(std::begin(parts), std::end(parts), rest, std::bit_or<u8>());
}

/// Whether one of the 4 blocks from `at` on has a needed bit.
MVRP_AVX2_INLINE bool mvrpStretchHas(const u8* at, Bytes32 needed) {
    using Longs4 = long long __attribute__((vector_size(32)));
    const Bytes32 stretch = mvrpBlockLoad(at) | mvrpBlockLoad(at + kBlock) |
                            mvrpBlockLoad(at + 2 * kBlock) | mvrpBlockLoad(at + 3 * kBlock);
    return __builtin_ia32_ptestz256((Longs4)stretch, (Longs4)needed) == 0;
}

MVRP_AVX2 bool mvrpVectorMark(std::span<const u8> bytes, const MvrpByteMarks& which,
                              MvrpVlanBitmap* marks) {
    const MvrpBlockMap blockMap = mvrpBlockMap(which.map);
    const Bytes32 needed = mvrpBlockFill(which.needed);
    *marks = {};
    const u8* at = bytes.data();
    u32 any = 0;
    size_t i = 0;
    while (i + kBlock <= bytes.size()) {
        if (i % kStretch == 0 && i + kStretch <= bytes.size()) {
            if (!mvrpStretchHas(at + i, needed)) {
                i += kStretch;
                continue;
            }
        }
        const u32 bits =
            mvrpBlockMarks(mvrpBlockValues(mvrpBlockLoad(at + i), blockMap, which.map.table));
        std::memcpy(marks->data() + i / 8, &bits, sizeof(bits));
        any |= bits;
        i += kBlock;
    }
    return mvrpPlainMarkFrom(bytes, i, which, marks) || any != 0;
}

/// Whether one of 4 blocks is marked.
MVRP_AVX2 bool mvrpStretchMarked(const u8* at, const MvrpByteMarks& which) {
    const MvrpBlockMap blockMap = mvrpBlockMap(which.map);
    u32 marks = 0;
    for (size_t i = 0; i < kStretch; i += kBlock)
        marks |= mvrpTopBits(mvrpBlockValues(mvrpBlockLoad(at + i), blockMap, which.map.table));
    return marks != 0;
}

MVRP_AVX2 bool mvrpVectorHas(std::span<const u8> bytes, const MvrpByteMarks& which) {
    if (bytes.size() < kStretch)
        return mvrpPlainHas(bytes, which);
    const Bytes32 needed = mvrpBlockFill(which.needed);
    // The last stretch overlaps the one before it: what it sees twice does not matter.
    const u8* const last = bytes.data() + bytes.size() - kStretch;
    for (const u8* at = bytes.data(); at < last; at += kStretch)
        if (mvrpStretchHas(at, needed) && mvrpStretchMarked(at, which))
            return true;
    return mvrpStretchHas(last, needed) && mvrpStretchMarked(last, which);
}

MVRP_AVX2 bool mvrpVectorAll(std::span<const u8> bytes, u8 mask, u8 value) {
    if (bytes.size() < kBlock)
        return mvrpPlainAll(bytes, mask, value);
    const Bytes32 masks = mvrpBlockFill(mask);
    const Bytes32 values = mvrpBlockFill(value);
    // The last block overlaps the one before it: what it sees twice does not matter.
    const u8* const last = bytes.data() + bytes.size() - kBlock;
    Bytes32 differing = (mvrpBlockLoad(last) & masks) ^ values;
    for (const u8* at = bytes.data(); at < last; at += kBlock)
        differing |= (mvrpBlockLoad(at) & masks) ^ values;
    return mvrpTopBits((Bytes32)(differing != Bytes32{})) == 0;
}

MVRP_AVX2 size_t mvrpVectorSame(std::span<const u8> bytes) {
    size_t i = 0;
    if (bytes.size() >= kBlock) {
        const Bytes32 first = mvrpBlockFill(bytes[0]);
        while (i + kBlock <= bytes.size() &&
               mvrpTopBits((Bytes32)(mvrpBlockLoad(&bytes[i]) != first)) == 0)
            i += kBlock;
    }
    return mvrpPlainSameFrom(bytes, i);
}

/// Twelve events to each half of a vector, of which 16 are read: three bytes at four places.
MVRP_AVX2 void mvrpVectorPack(std::span<const u8> events, u8* packed) {
    constexpr size_t kHalfEvents = 12;
    constexpr size_t kHalfRead = 16;
    constexpr size_t kHalfPacked = kHalfEvents / 3;
    const Bytes32 apart = {0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,
                           0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1};
    const Bytes32 weights = (Bytes32)(Longs8{} + 0x00010624);  // 36, 6, 1, 0
    const Words16 ones = Words16{} + short{1};
    const Bytes32 lowest = {0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                            0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    size_t i = 0;
    for (; i + kHalfEvents + kHalfRead <= events.size(); i += 2 * kHalfEvents) {
        const Bytes32 block = mvrpBlockJoin(&events[i], &events[i + kHalfEvents]);
        const Words16 pairs = __builtin_ia32_pmaddubsw256(mvrpShuffle(block, apart), weights);
        const Longs8 sums = __builtin_ia32_pmaddwd256(pairs, ones);
        const Longs8 bytes = (Longs8)mvrpShuffle((Bytes32)sums, lowest);
        const int halves[2] = {bytes[0], bytes[4]};
        std::memcpy(packed, halves, sizeof(halves));
        packed += 2 * kHalfPacked;
    }
    mvrpPlainPack(events.subspan(i), packed);
}

constexpr MvrpByteForm kMvrpVectorForm = {mvrpVectorApply, mvrpVectorApplyWhere, mvrpVectorLook,
                                          mvrpVectorMark,  mvrpVectorHas,        mvrpVectorAll,
                                          mvrpVectorSame,  mvrpVectorPack};

const MvrpByteForm& mvrpFormChoose() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") ? kMvrpVectorForm : kMvrpPlainForm;
}

}  // namespace

const MvrpByteForm& gMvrpBytes = mvrpFormChoose();

#else

// NEON has the same look-ups of 16, but a form for it is worth having only once it was measured on
// such a machine: what is fast is not told by an emulator.
const MvrpByteForm& gMvrpBytes = kMvrpPlainForm;

#endif
