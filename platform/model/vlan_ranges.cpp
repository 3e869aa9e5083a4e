// SPDX-License-Identifier: MIT
#include "platform/model/vlan_ranges.h"

#include <charconv>

namespace platform {
namespace {

/// Reads a number off the front of `text`. @return nothing when there is none, or it is too large
std::optional<u32> takeNumber(std::string_view& text) {
    u32 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{})
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool takeCharacter(std::string_view& text, char character) {
    if (!text.starts_with(character))
        return false;
    text.remove_prefix(1);
    return true;
}

void skipBlanks(std::string_view& text) {
    while (takeCharacter(text, ' ')) {
    }
}

std::string rangeText(u32 first, u32 last) {
    if (first == last)
        return std::to_string(first);
    return std::to_string(first) + "-" + std::to_string(last);
}

}  // namespace

std::optional<VlanBitmap> parseVlanRanges(std::string_view text) {
    VlanBitmap set{};
    if (text == "-" || text.empty())
        return set;
    do {
        skipBlanks(text);
        const auto first = takeNumber(text);
        auto last = first;
        if (takeCharacter(text, '-'))
            last = takeNumber(text);
        if (!first || !last || *first < kFirstVlan || *last > kLastVlan || *first > *last)
            return std::nullopt;
        for (u32 vid = *first; vid <= *last; vid++)
            vlanInsert(set, vid);
        skipBlanks(text);
    } while (takeCharacter(text, ','));
    return text.empty() ? std::optional(set) : std::nullopt;
}

std::string formatVlanRanges(const VlanBitmap& set) {
    constexpr u32 kBits = kVlanBitmapBytes * 8;
    std::string text;
    for (u32 vid = 1; vid <= kBits; vid++) {
        if (!vlanContains(set, vid))
            continue;
        const u32 first = vid;
        while (vid < kBits && vlanContains(set, vid + 1))
            vid++;
        text += (text.empty() ? "" : ",") + rangeText(first, vid);
    }
    return text.empty() ? "-" : text;
}

}  // namespace platform
