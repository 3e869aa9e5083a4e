// SPDX-License-Identifier: MIT
//
// Sets of VLANs as people write them: "1-10,20", and "-" for none.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

/// A set of VLANs, laid out as the contract's bitmaps: VLAN ID n + 1 is mask 0x80 >> (n mod 8) of
/// byte n / 8.
using VlanBitmap = std::array<u8, kVlanBitmapBytes>;

inline constexpr u32 kFirstVlan = 1;
inline constexpr u32 kLastVlan = 4094;  ///< IEEE 802.1Q reserves 0 and 4095

inline constexpr const char* kVlanRangesAllowed =
    "VLAN IDs 1 to 4094 as ranges, for example \"1-10,20\", or \"-\" for none";

constexpr bool vlanContains(const VlanBitmap& set, u32 vid) {
    return vid != 0 && vid <= set.size() * 8 &&
           (set[(vid - 1) / 8] & (0x80U >> ((vid - 1) % 8))) != 0;
}

/// `vid` is 1 to 4096; another is left out.
constexpr void vlanInsert(VlanBitmap& set, u32 vid) {
    if (vid != 0 && vid <= set.size() * 8)
        set[(vid - 1) / 8] = static_cast<u8>(set[(vid - 1) / 8] | (0x80U >> ((vid - 1) % 8)));
}

constexpr void vlanErase(VlanBitmap& set, u32 vid) {
    if (vid != 0 && vid <= set.size() * 8)
        set[(vid - 1) / 8] = static_cast<u8>(set[(vid - 1) / 8] & ~(0x80U >> ((vid - 1) % 8)));
}

/// Every VLAN from `first` to `last`.
constexpr VlanBitmap vlanRange(u32 first, u32 last) {
    VlanBitmap set{};
    for (u32 vid = first; vid <= last; vid++)
        vlanInsert(set, vid);
    return set;
}

/// @return the set, or nothing when `text` is not of the form of kVlanRangesAllowed
std::optional<VlanBitmap> parseVlanRanges(std::string_view text);
/// @return the shortest text that parseVlanRanges() reads back; "-" for the empty set
std::string formatVlanRanges(const VlanBitmap& set);

}  // namespace platform
