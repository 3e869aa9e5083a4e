// SPDX-License-Identifier: MIT
//
// Addresses in a text, replaced by others that say nothing: the same one by the same, in all texts
// of one Masker. What is no host's stays: group addresses, zero, the loopback.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "platform/contract/types.h"

namespace cli {

class Masker {
  public:
    /// MAC addresses become 02:00:00:..., IPv4 198.18.0.0/15, IPv6 2001:db8::/32.
    std::string masked(std::string_view text);
    /// The source addresses of the frames of a capture in the classic pcap format.
    std::string maskedCapture(std::string capture);

  private:
    std::string macFor(const std::string& address);
    std::string ipv4For(const std::string& address);
    std::string ipv6For(const std::string& address);
    /// Takes an address off the front of `rest`. @return its mask, or nothing to take one letter
    std::string takeAddress(std::string_view& rest);
    std::string takeMac(std::string_view& rest);
    std::string takeIpv4(std::string_view& rest);
    std::string takeIpv6(std::string_view& rest);

    std::map<std::string, std::string> macs_;
    std::map<std::string, std::string> ipv4_;
    std::map<std::string, std::string> ipv6_;
};

}  // namespace cli
