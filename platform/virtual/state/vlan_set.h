// SPDX-License-Identifier: MIT
//
// A set of VLAN IDs, and the switch between it and the contract's bitmaps.
#pragma once

#include <array>
#include <bitset>
#include <span>
#include <string>

#include "platform/contract/types.h"

namespace scenario {

/// IDs that a bitmap can name, and 0, which a scenario may declare to be known.
inline constexpr u32 kVlanSetLast = kVlanBitmapBytes * 8;
using VlanSet = std::bitset<kVlanSetLast + 1>;

using MacAddress = std::array<u8, 6>;

/// Calls `visit(vid)` for each member, from the lowest up. The standard's set can only be
/// asked for one number at a time; that of GNU finds the next.
template <std::size_t kSize, typename Visit>
void forEachMember(const std::bitset<kSize>& set, Visit visit) {
    if constexpr (requires { set._Find_first(); }) {
        for (std::size_t vid = set._Find_first(); vid < kSize; vid = set._Find_next(vid))
            visit(vid);
    } else {
        for (std::size_t vid = 0; vid < kSize; ++vid)
            if (set[vid])
                visit(vid);
    }
}

/// Bit n of a bitmap stands for VLAN ID n + 1; VLAN 0 has none.
VlanSet vlanSetOf(std::span<const u8> bitmap);
void storeBitmap(const VlanSet& set, std::span<u8> bitmap);

/// The bitmap behind a contract descriptor; empty for a null one.
std::span<u8> bitmapOf(void* descriptor);

/// `1-3,7`, or `-` for the empty set.
std::string formatVlanSet(const VlanSet& set);

/// Calls `visit(first, last)` for each run of equal neighbours of `values` for which `wanted`
/// holds.
template <typename Values, typename Wanted, typename Visit>
void forEachRun(const Values& values, std::size_t count, Wanted wanted, Visit visit) {
    for (std::size_t first = 0; first < count;) {
        std::size_t end = first + 1;
        if (wanted(values[first])) {
            while (end < count && values[end] == values[first])
                end++;
            visit(first, end - 1);
        }
        first = end;
    }
}

/// `7`, or `1-3`.
std::string formatRun(u64 first, u64 last);

}  // namespace scenario
