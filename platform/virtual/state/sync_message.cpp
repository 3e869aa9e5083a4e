// SPDX-License-Identifier: MIT
#include "platform/virtual/state/sync_message.h"

#include <algorithm>
#include <array>

namespace scenario {
namespace {

constexpr std::size_t kTypeAt = 0;
constexpr std::size_t kLengthAt = 2;
constexpr std::size_t kUnitAt = 4;
constexpr std::size_t kBitmapAt = 8;
constexpr std::size_t kMessageBytes = kBitmapAt + kVlanBitmapBytes;

}  // namespace

std::string formatSyncMessage(std::span<const u8> message) {
    std::array<u8, kMessageBytes> bytes{};
    std::copy_n(message.begin(), std::min(message.size(), bytes.size()), bytes.begin());
    u32 length = 0;
    for (std::size_t at = kLengthAt; at < kUnitAt; at++)
        length = length << 8U | bytes[at];
    u32 unit = 0;
    for (std::size_t at = kUnitAt; at < kBitmapAt; at++)
        unit = unit << 8U | bytes[at];
    return "type=" + std::to_string(bytes[kTypeAt]) + " len=" + std::to_string(length) +
           " unit=" + std::to_string(unit) +
           " vids=" + formatVlanSet(vlanSetOf(std::span(bytes).subspan(kBitmapAt)));
}

std::vector<u8> buildSyncMessage(u8 type, u32 unit, const VlanSet& vlans) {
    std::vector<u8> bytes(kMessageBytes);
    bytes[kTypeAt] = type;
    bytes[kLengthAt] = static_cast<u8>(kMessageBytes >> 8U);
    bytes[kLengthAt + 1] = static_cast<u8>(kMessageBytes);
    for (u32 at = 0; at < sizeof unit; at++)
        bytes[kUnitAt + at] = static_cast<u8>(unit >> (8 * (sizeof unit - 1 - at)));
    storeBitmap(vlans, std::span(bytes).subspan(kBitmapAt));
    return bytes;
}

}  // namespace scenario
