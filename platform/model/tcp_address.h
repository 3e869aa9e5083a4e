// SPDX-License-Identifier: MIT
//
// A numeric address of this machine and a TCP port, as a configuration file writes it:
// "127.0.0.1:9620", "[::1]:9620". A plain record; no lock.
#pragma once

#include <sys/socket.h>

#include <optional>
#include <string>
#include <string_view>

namespace platform {

struct TcpAddress {
    sockaddr_storage address{};
    socklen_t length = 0;

    /// AF_INET or AF_INET6.
    int family() const { return address.ss_family; }
};

/// @return nothing when the text is none, or its port is not 1 to 65535
std::optional<TcpAddress> parseTcpAddress(std::string_view text);

/// What parseTcpAddress() takes, for the error of whoever asked for one.
inline constexpr std::string_view kTcpAddressForm =
    "a numeric address and a port from 1 to 65535, such as \"127.0.0.1:9620\" or \"[::1]:9620\"";

}  // namespace platform
