// SPDX-License-Identifier: MIT
#include "bench/whole_cables.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <stdexcept>

namespace bench {
namespace {

constexpr int kRoomWithinMs = 20;

platform::Descriptor openSocket() {
    return platform::Descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

}  // namespace

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

platform::Descriptor openEnd(const std::string& path) {
    platform::Descriptor end = openSocket();
    const sockaddr_un address = addressOf(path);
    if (bind(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        throw std::runtime_error("no cable at " + path);
    return end;
}

platform::Descriptor openSender(const std::string& path) {
    platform::Descriptor sender = openSocket();
    const sockaddr_un address = addressOf(path);
    if (connect(sender.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        throw std::runtime_error("nobody at " + path);
    return sender;
}

bool sendInto(int socket, std::span<const u8> frame) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (::send(socket, frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
            return true;
        pollfd item = {socket, POLLOUT, 0};
        if (errno != EAGAIN || poll(&item, 1, kRoomWithinMs) != 1)
            return false;
    }
    return false;
}

}  // namespace bench
