// SPDX-License-Identifier: MIT
//
// VLAN bitmaps and flag bytes. One numbering serves both: bit index n is mask 0x80 >> (n mod 8) of
// byte n / 8. In a VLAN bitmap index n stands for VLAN ID n + 1.
#pragma once

#include <array>
#include <bit>
#include <cstring>
#include <span>

#include "platform/contract/types.h"

/// VLAN IDs with state of their own: 1 to 4095, at index VLAN ID - 1 of every per-VLAN array.
inline constexpr u32 kMvrpVlanFirst = 1;
inline constexpr u32 kMvrpVlanLast = 4095;
inline constexpr u32 kMvrpVlanCount = kMvrpVlanLast;

/// Whether a VLAN ID has state of its own.
constexpr bool mvrpVlanIdHas(u32 vid) {
    return vid >= kMvrpVlanFirst && vid <= kMvrpVlanLast;
}

/// VLAN ID 1: the default VLAN, always there and always static.
inline constexpr u32 kMvrpDefaultVlan = 1;

/// Bits of a VLAN bitmap.
inline constexpr u32 kMvrpBitmapBits = kVlanBitmapBytes * 8;

using MvrpVlanBitmap = std::array<u8, kVlanBitmapBytes>;

/// Masks of the bits of one byte, by bit index.
inline constexpr std::array<u8, 8> kMvrpBitMask = {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};

/// No bound is checked: indexes are below 4096 for bitmaps and below 8 for flag bytes.
constexpr void mvrpBitSet(u8* bytes, u32 index) {
    bytes[index / 8] = static_cast<u8>(bytes[index / 8] | kMvrpBitMask[index % 8]);
}

constexpr void mvrpBitClear(u8* bytes, u32 index) {
    bytes[index / 8] = static_cast<u8>(bytes[index / 8] & ~kMvrpBitMask[index % 8]);
}

constexpr u32 mvrpBitTest(const u8* bytes, u32 index) {
    return (bytes[index / 8] & kMvrpBitMask[index % 8]) != 0 ? 1 : 0;
}

/// Sets `destination` to the AND of two bitmaps over their first `bits` bits; a trailing partial
/// byte is masked to its first bits mod 8 bits. Bytes beyond are left alone.
void mvrpBitmapIntersect(std::span<u8> destination, std::span<const u8> a, std::span<const u8> b,
                         u32 bits);

/// 64 bits of a bitmap from a byte on, the first of them highest.
inline u64 mvrpBitmapWord(const MvrpVlanBitmap& bitmap, u32 byte) {
    u64 word = 0;
    std::memcpy(&word, bitmap.data() + byte, sizeof(word));
    return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

/// @return the first index from `index` on whose bit is `set`, or kMvrpBitmapBits
inline u32 mvrpBitmapNext(const MvrpVlanBitmap& bitmap, u32 index, bool set = true) {
    constexpr u32 kWordBits = 64;
    const u64 flip = set ? 0 : ~u64{0};
    u64 beyond = ~u64{0} >> index % kWordBits;
    for (u32 start = index / kWordBits * kWordBits; start < kMvrpBitmapBits; start += kWordBits) {
        const u64 word = (mvrpBitmapWord(bitmap, start / 8) ^ flip) & beyond;
        if (word != 0)
            return start + static_cast<u32>(std::countl_zero(word));
        beyond = ~u64{0};
    }
    return kMvrpBitmapBits;
}

/// Set bits that follow each other.
struct MvrpBitRun {
    u16 index;  ///< of the first
    u16 count;
};
/// There are no more runs in a bitmap: between two is a bit that is not set.
inline constexpr u32 kMvrpMostRuns = kMvrpBitmapBits / 2;
using MvrpBitRuns = std::array<MvrpBitRun, kMvrpMostRuns>;

/// Finds the runs of set bits, in order. @return how many
u32 mvrpBitmapRuns(const MvrpVlanBitmap& bitmap, MvrpBitRuns* runs);

inline bool mvrpBitmapEmpty(const MvrpVlanBitmap& bitmap) {
    return mvrpBitmapNext(bitmap, 0) == kMvrpBitmapBits;
}

/// Puts the bits of another bitmap in.
constexpr void mvrpBitmapAdd(MvrpVlanBitmap* bitmap, const MvrpVlanBitmap& other) {
    for (u32 i = 0; i < kVlanBitmapBytes; ++i)
        (*bitmap)[i] = static_cast<u8>((*bitmap)[i] | other[i]);
}
/// Takes the bits of another bitmap out.
constexpr void mvrpBitmapRemove(MvrpVlanBitmap* bitmap, const MvrpVlanBitmap& other) {
    for (u32 i = 0; i < kVlanBitmapBytes; ++i)
        (*bitmap)[i] = static_cast<u8>((*bitmap)[i] & ~other[i]);
}
/// Leaves only the bits that another bitmap has too.
constexpr void mvrpBitmapKeep(MvrpVlanBitmap* bitmap, const MvrpVlanBitmap& other) {
    for (u32 i = 0; i < kVlanBitmapBytes; ++i)
        (*bitmap)[i] = static_cast<u8>((*bitmap)[i] & other[i]);
}

/// Sets `count` bits from `index` on.
inline void mvrpBitmapAddRange(MvrpVlanBitmap* bitmap, u32 index, u32 count) {
    const u32 end = index + count;
    for (; index < end && index % 8 != 0; ++index)
        mvrpBitSet(bitmap->data(), index);
    const u32 whole = (end - index) / 8;
    std::memset(bitmap->data() + index / 8, 0xFF, whole);
    for (index += whole * 8; index < end; ++index)
        mvrpBitSet(bitmap->data(), index);
}

/// Calls `action` with each VLAN ID of the bitmap, in order. The action may change the bits of the
/// VLAN that it is called with, and of those before.
template <class Action>
void mvrpForEachVlan(const MvrpVlanBitmap& vlans, Action action) {
    for (u32 index = mvrpBitmapNext(vlans, 0); index < kMvrpVlanCount;
         index = mvrpBitmapNext(vlans, index + 1))
        action(index + 1);
}

/// Descriptor of a bitmap, as the platform's VLAN calls take it.
inline QorBuffer mvrpBitmapBuffer(MvrpVlanBitmap& bitmap) {
    return {bitmap.data(), kVlanBitmapBytes};
}
