// SPDX-License-Identifier: MIT
//
// One function of a byte, applied to many bytes at once: a port keeps a byte for each VLAN, and
// what happens to all of them, or to a set of them, is one pass over the array.
//
// A map is its table of 256 values. Machine bytes are made of two halves that hardly know of each
// other, so the same function is also a handful of look-ups of 16 values, which vector instructions
// do for 32 bytes at a time. Both forms are derived from one definition when the code is compiled;
// the plain form is the reference.
//
// Pure functions over the caller's bytes: no state, no lock, no errors. Bitmaps are numbered as in
// base/bitmap.h.
#pragma once

#include <array>
#include <bit>
#include <span>

#include "daemon/base/bitmap.h"

using MvrpByteTable = std::array<u8, 256>;
using MvrpHalfTable = std::array<u8, 16>;

/// Upper halves that the look-ups of 16 hold for: the applicant states. Runs with other bytes,
/// which only a debugging hand makes, are looked up in the whole table.
inline constexpr u32 kMvrpHalfEnd = 13;

/// Value of `byte`, of upper half h and lower half l:
/// (high0[h] & choice[l]) | (high1[h] & ~choice[l]) | low[l].
struct MvrpByteMap {
    MvrpByteTable table;
    alignas(16) MvrpHalfTable high0;
    alignas(16) MvrpHalfTable high1;
    alignas(16) MvrpHalfTable choice;
    alignas(16) MvrpHalfTable low;
};

/// Finds the look-ups of one bit of a map's values: over the upper halves, the bit follows one of
/// two patterns, or is always set. Which it is, the lower half says.
constexpr void mvrpByteMapSplit(MvrpByteMap* map, u8 bit) {
    constexpr u32 kAlways = (1U << kMvrpHalfEnd) - 1;
    u32 patterns[2] = {kAlways, kAlways};
    for (u32 low = 0; low < map->low.size(); ++low) {
        u32 pattern = 0;
        for (u32 high = 0; high < kMvrpHalfEnd; ++high)
            pattern |= (map->table[high << 4U | low] & bit) != 0 ? 1U << high : 0U;
        if (pattern == kAlways) {
            map->low[low] |= bit;
        } else if (patterns[0] == kAlways || patterns[0] == pattern) {
            patterns[0] = pattern;
            map->choice[low] |= bit;
        } else if (patterns[1] == kAlways || patterns[1] == pattern) {
            patterns[1] = pattern;
        } else {
            throw "not a function that look-ups of 16 values can do";
        }
    }
    for (u32 high = 0; high < kMvrpHalfEnd; ++high) {
        map->high0[high] |= (patterns[0] >> high & 1U) != 0 ? bit : u8{0};
        map->high1[high] |= (patterns[1] >> high & 1U) != 0 ? bit : u8{0};
    }
}

/// The map of a function of a byte. Does not compile for one that can not be split.
template <class Function>
constexpr MvrpByteMap mvrpByteMap(Function function) {
    MvrpByteMap map = {};
    for (u32 byte = 0; byte < map.table.size(); ++byte)
        map.table[byte] = static_cast<u8>(function(static_cast<u8>(byte)));
    for (u32 bit = 1; bit <= 0x80; bit <<= 1U)
        mvrpByteMapSplit(&map, static_cast<u8>(bit));
    return map;
}

/// A map that marks bytes: the value of a marked one is kMvrpMark, of all others 0.
struct MvrpByteMarks {
    MvrpByteMap map;
    u8 needed;  ///< a byte with none of these bits is not marked
};
inline constexpr u8 kMvrpMark = 0x80;

/// The smallest set of bits of which each marked byte has one.
constexpr u8 mvrpMarksNeeded(const MvrpByteTable& table) {
    u32 best = 0xFF;
    for (u32 bits = 1; bits < 0xFF; ++bits) {
        bool serves = std::popcount(bits) < std::popcount(best);
        for (u32 byte = 0; serves && byte < table.size(); ++byte)
            serves = table[byte] == 0 || (byte & bits) != 0;
        if (serves)
            best = bits;
    }
    return static_cast<u8>(best);
}

/// The map that marks the bytes of which `predicate` is true.
template <class Predicate>
consteval MvrpByteMarks mvrpByteMarks(Predicate predicate) {
    const MvrpByteMap map =
        mvrpByteMap([predicate](u8 byte) { return predicate(byte) ? kMvrpMark : u8{0}; });
    if (map.table[0] != 0)
        throw "a byte of 0 is passed over, so it can not be marked";
    return {map, mvrpMarksNeeded(map.table)};
}

/// What can be done with a map, in one form.
struct MvrpByteForm {
    /// Replaces each byte by its value.
    void (*apply)(std::span<u8> bytes, const MvrpByteMap& map);
    /// Replaces the bytes whose bit in `where` is set; at most as many bytes as a bitmap has bits.
    void (*applyWhere)(std::span<u8> bytes, const MvrpVlanBitmap& where, const MvrpByteMap& map);
    /// Writes the values to `out`, which holds as many. @return all values or'ed together
    u8 (*look)(std::span<const u8> bytes, const MvrpByteMap& map, u8* out);
    /// Writes a bitmap of the marked bytes, clear beyond them; at most as many bytes as it has
    /// bits. Long stretches without a needed bit cost little. @return whether a byte is marked
    bool (*mark)(std::span<const u8> bytes, const MvrpByteMarks& which, MvrpVlanBitmap* marks);
    /// @return whether a byte is marked, without saying which; costs least when none is
    bool (*has)(std::span<const u8> bytes, const MvrpByteMarks& which);
    /// @return whether the bits of `mask` are `value` in each byte
    bool (*all)(std::span<const u8> bytes, u8 mask, u8 value);
    /// @return how many bytes from the first on are as the first is; 0 of none
    size_t (*same)(std::span<const u8> bytes);
    /// Packs three events, 0 to 5, into each byte: 36, 6 and 1 are their weights. An incomplete
    /// last byte counts what is missing as 0. `packed` holds a third of the events, rounded up.
    void (*pack)(std::span<const u8> events, u8* packed);
};

/// A byte at a time, in any build and on any machine: the reference.
extern const MvrpByteForm kMvrpPlainForm;

/// The form that is used: the fastest of this build that the machine can do.
extern const MvrpByteForm& gMvrpBytes;
