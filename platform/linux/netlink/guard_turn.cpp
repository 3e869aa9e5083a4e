// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/guard_turn.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <thread>
#include <utility>

namespace platform {
namespace {

constexpr std::chrono::milliseconds kBetweenTries{1};

/// @return 0, or the error
int bindName(int socket, u32 port) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = "mvrp-guard-" + std::to_string(port);
    // The first byte stays zero: an abstract name.
    std::ranges::copy(name, address.sun_path + 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return bind(socket, reinterpret_cast<const sockaddr*>(&address), length) == 0 ? 0 : errno;
}

}  // namespace

GuardTurn::GuardTurn(u32 port, std::chrono::milliseconds patience) {
    const auto until = std::chrono::steady_clock::now() + patience;
    // Nobody can connect to what does not listen.
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    int error = bindName(socket.get(), port);
    while (error == EADDRINUSE && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(kBetweenTries);
        error = bindName(socket.get(), port);
    }
    if (error == 0)
        name_ = std::move(socket);
}

}  // namespace platform
