// SPDX-License-Identifier: MIT
#include "platform/virtual/state/vlan_set.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace scenario {
namespace {

constexpr std::size_t kWords = kVlanSetLast / 64;
/// A set as the words that it is made of: VLAN ID n is bit n % 64 of word n / 64. One more word
/// than a bitmap has, for the last ID.
using SetWords = std::array<u64, kWords + 1>;

/// Turns each byte of a word around: bitmaps begin with the highest bit of a byte.
constexpr u64 byteBitsReversed(u64 word) {
    word = (word >> 1U & 0x5555555555555555U) | (word & 0x5555555555555555U) << 1U;
    word = (word >> 2U & 0x3333333333333333U) | (word & 0x3333333333333333U) << 2U;
    return (word >> 4U & 0x0F0F0F0F0F0F0F0FU) | (word & 0x0F0F0F0F0F0F0F0FU) << 4U;
}
static_assert(byteBitsReversed(0x0180U) == 0x8001U);
static_assert(std::endian::native == std::endian::little);

}  // namespace

VlanSet vlanSetOf(std::span<const u8> bitmap) {
    std::array<u64, kWords> bits{};
    if (!bitmap.empty())
        std::memcpy(bits.data(), bitmap.data(), std::min(bitmap.size(), sizeof bits));
    SetWords words{};
    for (std::size_t index = 0; index < kWords; index++) {
        if (bits[index] == 0)
            continue;  // most bitmaps are nearly empty
        const u64 word = byteBitsReversed(bits[index]);
        words[index] |= word << 1U;
        words[index + 1] |= word >> 63U;
    }
    return std::bit_cast<VlanSet>(words);
}

void storeBitmap(const VlanSet& set, std::span<u8> bitmap) {
    const auto words = std::bit_cast<SetWords>(set);
    std::array<u64, kWords> bits{};
    for (std::size_t index = 0; index < kWords; index++) {
        const u64 word = words[index] >> 1U | words[index + 1] << 63U;
        if (word != 0)
            bits[index] = byteBitsReversed(word);
    }
    if (bitmap.empty())
        return;
    const std::size_t length = std::min(bitmap.size(), sizeof bits);
    std::memcpy(bitmap.data(), bits.data(), length);
    std::fill(bitmap.begin() + static_cast<std::ptrdiff_t>(length), bitmap.end(), u8{0});
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
