// SPDX-License-Identifier: MIT
//
// MAC addresses, and how people write them: "02:00:00:00:00:01".
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

using MacAddress = std::array<u8, 6>;

/// @return the address, or nothing when `text` is not six pairs of hexadecimal digits with ':'
///         between them
std::optional<MacAddress> parseMac(std::string_view text);
std::string formatMac(const MacAddress& mac);

/// Whether a port can have it: neither a group address nor zero.
constexpr bool isStationMac(const MacAddress& mac) {
    return (mac[0] & 1U) == 0 && mac != MacAddress{};
}

}  // namespace platform
