// SPDX-License-Identifier: MIT
#include "tests/scenario/host/vlan_set.h"

#include <algorithm>

namespace scenario {
namespace {

constexpr u8 maskOf(u32 index) {
    return static_cast<u8>(0x80U >> (index % 8));
}

}  // namespace

VlanSet vlanSetOf(std::span<const u8> bitmap) {
    VlanSet set;
    const u32 bits = static_cast<u32>(std::min<std::size_t>(bitmap.size() * 8, kVlanSetLast));
    for (u32 index = 0; index < bits; index++) {
        if (index % 8 == 0 && bitmap[index / 8] == 0) {
            index += 7;  // most bitmaps are nearly empty
            continue;
        }
        if ((bitmap[index / 8] & maskOf(index)) != 0)
            set.set(index + 1);
    }
    return set;
}

void storeBitmap(const VlanSet& set, std::span<u8> bitmap) {
    std::fill(bitmap.begin(), bitmap.end(), u8{0});
    const u32 bits = static_cast<u32>(std::min<std::size_t>(bitmap.size() * 8, kVlanSetLast));
    for (std::size_t vid = set._Find_next(0); vid <= bits; vid = set._Find_next(vid)) {
        const u32 index = static_cast<u32>(vid) - 1;
        bitmap[index / 8] = static_cast<u8>(bitmap[index / 8] | maskOf(index));
    }
}

std::span<u8> bitmapOf(void* descriptor) {
    const auto* buffer = static_cast<const QorBuffer*>(descriptor);
    if (buffer == nullptr || buffer->data == nullptr)
        return {};
    return {static_cast<u8*>(buffer->data), buffer->length};
}

std::string formatRun(std::size_t first, std::size_t last) {
    return first == last ? std::to_string(first)
                         : std::to_string(first) + "-" + std::to_string(last);
}

std::string formatVlanSet(const VlanSet& set) {
    std::string text;
    forEachRun(
        set, set.size(), [](bool member) { return member; },
        [&text](std::size_t first, std::size_t last) {
            text += (text.empty() ? "" : ",") + formatRun(first, last);
        });
    return text.empty() ? "-" : text;
}

}  // namespace scenario
