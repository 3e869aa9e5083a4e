// SPDX-License-Identifier: MIT
//
// Operations on whole sets of VLANs.
#pragma once

#include <algorithm>
#include <array>
#include <bit>

#include "platform/model/vlan_ranges.h"

namespace platform {

/// A set as numbers of 64 bits, which are worked on together.
using VlanWords = std::array<u64, sizeof(VlanBitmap) / sizeof(u64)>;

template <typename Combine>
constexpr VlanBitmap vlanCombine(const VlanBitmap& a, const VlanBitmap& b, Combine combine) {
    const auto left = std::bit_cast<VlanWords>(a);
    const auto right = std::bit_cast<VlanWords>(b);
    VlanWords result{};
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = combine(left[i], right[i]);
    return std::bit_cast<VlanBitmap>(result);
}

constexpr VlanBitmap vlanUnion(const VlanBitmap& a, const VlanBitmap& b) {
    return vlanCombine(a, b, [](u64 left, u64 right) { return left | right; });
}

constexpr VlanBitmap vlanIntersection(const VlanBitmap& a, const VlanBitmap& b) {
    return vlanCombine(a, b, [](u64 left, u64 right) { return left & right; });
}

/// Those of `a` that are not in `b`.
constexpr VlanBitmap vlanDifference(const VlanBitmap& a, const VlanBitmap& b) {
    return vlanCombine(a, b, [](u64 left, u64 right) { return left & ~right; });
}

constexpr bool vlanIsEmpty(const VlanBitmap& set) {
    return std::ranges::all_of(set, [](u8 byte) { return byte == 0; });
}

/// Bytes of a bitmap, the last one excluded.
struct VlanByteRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// The bytes from the first to the last VLAN of a set; none for an empty one.
constexpr VlanByteRange vlanBytes(const VlanBitmap& set) {
    VlanByteRange range{0, set.size()};
    while (range.end > 0 && set[range.end - 1] == 0)
        --range.end;
    while (range.begin < range.end && set[range.begin] == 0)
        ++range.begin;
    return range;
}

/// Whether the set holds usable VLAN IDs only: neither 4095 nor the bit beyond it.
constexpr bool vlanIsValid(const VlanBitmap& set) {
    return !vlanContains(set, kLastVlan + 1) && !vlanContains(set, kLastVlan + 2);
}

/// Calls `visit(vid)` for each VLAN of the set, ascending; 64 bits without a VLAN cost one test.
template <typename Visit>
constexpr void vlanForEach(const VlanBitmap& set, Visit visit) {
    const auto words = std::bit_cast<VlanWords>(set);
    for (u32 byte = 0; byte < set.size(); ++byte) {
        if (byte % sizeof(u64) == 0 && words[byte / sizeof(u64)] == 0) {
            byte += sizeof(u64) - 1;
            continue;
        }
        for (u32 bit = 0; set[byte] != 0 && bit < 8; ++bit)
            if ((set[byte] & (0x80U >> bit)) != 0)
                visit(byte * 8 + bit + 1);
    }
}

}  // namespace platform
