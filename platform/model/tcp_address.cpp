// SPDX-License-Identifier: MIT
#include "platform/model/tcp_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <charconv>
#include <cstdint>
#include <cstring>

namespace platform {
namespace {

/// Of a port written with digits alone, in the order of the network.
std::optional<in_port_t> parsePort(std::string_view text) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    if (text.empty() || error != std::errc{} || stop != end || port == 0)
        return std::nullopt;
    return htons(port);
}

template <typename Socket>
TcpAddress addressFrom(const Socket& socket) {
    TcpAddress address;
    std::memcpy(&address.address, &socket, sizeof socket);
    address.length = sizeof socket;
    return address;
}

}  // namespace

std::optional<TcpAddress> parseTcpAddress(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    const auto port = parsePort(text.substr(colon + 1));
    std::string host(text.substr(0, colon));
    if (!port || host.find('\0') != std::string::npos)
        return std::nullopt;
    sockaddr_in four{};
    four.sin_family = AF_INET;
    four.sin_port = *port;
    if (inet_pton(AF_INET, host.c_str(), &four.sin_addr) == 1)
        return addressFrom(four);
    if (host.size() < 2 || host.front() != '[' || host.back() != ']')
        return std::nullopt;
    sockaddr_in6 six{};
    six.sin6_family = AF_INET6;
    six.sin6_port = *port;
    host = host.substr(1, host.size() - 2);
    if (inet_pton(AF_INET6, host.c_str(), &six.sin6_addr) == 1)
        return addressFrom(six);
    return std::nullopt;
}

}  // namespace platform
