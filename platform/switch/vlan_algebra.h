// SPDX-License-Identifier: MIT
//
// Operations on whole sets of VLANs.
#pragma once

#include <algorithm>

#include "platform/config/vlan_ranges.h"

namespace platform {

constexpr VlanBitmap vlanUnion(const VlanBitmap& a, const VlanBitmap& b) {
    VlanBitmap result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = static_cast<u8>(a[i] | b[i]);
    }
    return result;
}

constexpr VlanBitmap vlanIntersection(const VlanBitmap& a, const VlanBitmap& b) {
    VlanBitmap result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = static_cast<u8>(a[i] & b[i]);
    }
    return result;
}

/// Those of `a` that are not in `b`.
constexpr VlanBitmap vlanDifference(const VlanBitmap& a, const VlanBitmap& b) {
    VlanBitmap result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = static_cast<u8>(a[i] & ~b[i]);
    }
    return result;
}

constexpr bool vlanIsEmpty(const VlanBitmap& set) {
    return std::ranges::all_of(set, [](u8 byte) { return byte == 0; });
}

/// Whether the set holds usable VLAN IDs only: neither 4095 nor the bit beyond it.
constexpr bool vlanIsValid(const VlanBitmap& set) {
    return !vlanContains(set, kLastVlan + 1) && !vlanContains(set, kLastVlan + 2);
}

/// Calls `visit(vid)` for each VLAN of the set, ascending; bytes without a VLAN cost one test.
template <typename Visit>
constexpr void vlanForEach(const VlanBitmap& set, Visit visit) {
    for (u32 byte = 0; byte < set.size(); ++byte) {
        for (u32 bit = 0; set[byte] != 0 && bit < 8; ++bit) {
            if ((set[byte] & (0x80U >> bit)) != 0) {
                visit(byte * 8 + bit + 1);
            }
        }
    }
}

}  // namespace platform
