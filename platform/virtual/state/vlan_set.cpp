// SPDX-License-Identifier: MIT
#include "platform/virtual/state/vlan_set.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace scenario {
namespace {

/// What the library keeps a bitset in: a machine's word. A library with another one does not
/// compile.
using Word = unsigned long;
constexpr std::size_t kWordBits = sizeof(Word) * 8;
constexpr std::size_t kWords = kVlanSetLast / kWordBits;
/// A set as the words that it is made of: VLAN ID n is bit n % kWordBits of word n / kWordBits. One
/// more word than a bitmap has, for the last ID.
using SetWords = std::array<Word, kWords + 1>;

/// Turns each byte of a word around: bitmaps begin with the highest bit of a byte.
constexpr Word byteBitsReversed(Word word) {
    constexpr Word kAll = ~Word{0};
    constexpr Word kOdd = kAll / 0x3U;       // 01 again and again
    constexpr Word kPairs = kAll / 0x5U;     // 0011
    constexpr Word kNibbles = kAll / 0x11U;  // 00001111
    word = (word >> 1U & kOdd) | (word & kOdd) << 1U;
    word = (word >> 2U & kPairs) | (word & kPairs) << 2U;
    return (word >> 4U & kNibbles) | (word & kNibbles) << 4U;
}
static_assert(byteBitsReversed(0x0180U) == 0x8001U);

constexpr Word bytesSwapped(Word word) {
    Word swapped = 0;
    for (std::size_t i = 0; i < sizeof word; i++)
        swapped |= (word >> 8 * i & 0xFFU) << (kWordBits - 8 - 8 * i);
    return swapped;
}
static_assert(bytesSwapped(0x12U) == Word{0x12U} << (kWordBits - 8));
static_assert(bytesSwapped(bytesSwapped(0x1234U)) == 0x1234U);

/// Between a word as it lies in a bitmap and one whose lowest bit is the first VLAN. It is its own
/// inverse.
constexpr Word turned(Word word) {
    const bool firstLowest = std::endian::native == std::endian::little;
    return byteBitsReversed(firstLowest ? word : bytesSwapped(word));
}

}  // namespace

VlanSet vlanSetOf(std::span<const u8> bitmap) {
    std::array<Word, kWords> bits{};
    if (!bitmap.empty())
        std::memcpy(bits.data(), bitmap.data(), std::min(bitmap.size(), sizeof bits));
    SetWords words{};
    for (std::size_t index = 0; index < kWords; index++) {
        if (bits[index] == 0)
            continue;  // most bitmaps are nearly empty
        const Word word = turned(bits[index]);
        words[index] |= word << 1U;
        words[index + 1] |= word >> (kWordBits - 1);
    }
    return std::bit_cast<VlanSet>(words);
}

void storeBitmap(const VlanSet& set, std::span<u8> bitmap) {
    const auto words = std::bit_cast<SetWords>(set);
    std::array<Word, kWords> bits{};
    for (std::size_t index = 0; index < kWords; index++) {
        const Word word = words[index] >> 1U | words[index + 1] << (kWordBits - 1);
        if (word != 0)
            bits[index] = turned(word);
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

std::string formatRun(u64 first, u64 last) {
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
