// SPDX-License-Identifier: MIT
#include "platform/net/cables/cable_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/runtime/log.h"

namespace platform {
namespace {

Descriptor newSocket() {
    return Descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int connectTo(int socket, const std::string& path) {
    const sockaddr_un address = addressOf(path);
    return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

bool findSocket(const Place& place, struct stat& facts) {
    const int directory = place.directory.isOpen() ? place.directory.get() : AT_FDCWD;
    return fstatat(directory, place.name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISSOCK(facts.st_mode);
}

/// Only the kernel knows whether a process still has it; of other kinds of sockets, too.
bool isLeftBehind(const Place& place) {
    const Descriptor probe = newSocket();
    return probe.isOpen() && connectTo(probe.get(), place.address()) != 0 && errno == ECONNREFUSED;
}

bool makeWay(const Place& place, ino_t own, bool mine, std::string& error) {
    struct stat facts {};
    if (!findSocket(place, facts))
        return true;
    if (mine && facts.st_uid != geteuid()) {
        error = "it belongs to another user";
        return false;
    }
    if (facts.st_ino != own && !isLeftBehind(place)) {
        error = "it is in use; allowed: a path for each socket";
        return false;
    }
    const int directory = place.directory.isOpen() ? place.directory.get() : AT_FDCWD;
    unlinkat(directory, place.name.c_str(), 0);
    return true;
}

}  // namespace

ino_t socketNumberAt(const Place& place) {
    struct stat facts {};
    return findSocket(place, facts) ? facts.st_ino : 0;
}

Descriptor bindSocket(const Place& place, ino_t own, bool mine, std::string& error) {
    const std::string path = place.address();
    Descriptor made = newSocket();
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        error = "a socket path has at most " + std::to_string(sizeof(sockaddr_un::sun_path) - 1) +
                " bytes";
        return Descriptor();
    }
    if (made.isOpen() && !makeWay(place, own, mine, error))
        return Descriptor();
    const sockaddr_un address = addressOf(path);
    if (made.isOpen() &&
        bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return made;
    error = errorText(errno);
    return Descriptor();
}

Descriptor connectSocket(const Place& place) {
    Descriptor made = newSocket();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    Descriptor peer;
    if (place.directory.isOpen()) {
        // Held, so that what is connected to is what was looked at.
        peer = Descriptor(
            openat(place.directory.get(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat facts {};
        if (!peer.isOpen() || fstat(peer.get(), &facts) != 0 || !S_ISSOCK(facts.st_mode))
            return Descriptor();
        std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d", peer.get());
    } else if (place.name.copy(address.sun_path, sizeof address.sun_path - 1) < place.name.size()) {
        return Descriptor();
    }
    const bool connected =
        made.isOpen() &&
        connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return connected ? std::move(made) : Descriptor();
}

}  // namespace platform
