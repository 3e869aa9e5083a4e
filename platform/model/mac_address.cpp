// SPDX-License-Identifier: MIT
#include "platform/model/mac_address.h"

#include <charconv>
#include <cstdio>

namespace platform {

std::optional<MacAddress> parseMac(std::string_view text) {
    constexpr std::size_t kTextBytes = 17;
    MacAddress mac{};
    if (text.size() != kTextBytes)
        return std::nullopt;
    for (std::size_t index = 0; index < mac.size(); index++) {
        const char* digits = text.data() + index * 3;
        const auto [end, error] = std::from_chars(digits, digits + 2, mac[index], 16);
        const bool separated = index + 1 == mac.size() || digits[2] == ':';
        if (error != std::errc{} || end != digits + 2 || !separated)
            return std::nullopt;
    }
    return mac;
}

std::string formatMac(const MacAddress& mac) {
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text.data();
}

}  // namespace platform
