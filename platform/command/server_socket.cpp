// SPDX-License-Identifier: MIT
#include "platform/command/server_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/runtime/log.h"

namespace platform {
namespace {

constexpr int kBacklog = 16;

bool addressOf(const std::string& path, sockaddr_un& address, std::string& error) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        error = path + ": a socket path has 1 to " + std::to_string(sizeof address.sun_path - 1) +
                " bytes";
        return false;
    }
    path.copy(address.sun_path, path.size());
    return true;
}

Descriptor newSocket() {
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

/// Makes way for a new socket at `path`. @return false when something there is in use
bool removeStale(const std::string& path, std::string& error) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0)
        return true;
    if (!S_ISSOCK(found.st_mode)) {
        error = path + " is there already and no socket";
        return false;
    }
    std::string ignored;
    if (connectUnix(path, ignored).valid()) {
        error = path + " is served by another process; allowed: one for each " + "socket path";
        return false;
    }
    unlink(path.c_str());
    return true;
}

/// Mode and group, before anybody can connect.
bool restrict(const std::string& path, std::optional<gid_t> group) {
    if (group && chown(path.c_str(), static_cast<uid_t>(-1), *group) != 0)
        return false;
    const mode_t mode = group ? S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP : S_IRUSR | S_IWUSR;
    return chmod(path.c_str(), mode) == 0;
}

}  // namespace

Descriptor::~Descriptor() {
    reset();
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        reset();
        number_ = std::exchange(other.number_, -1);
    }
    return *this;
}

void Descriptor::reset() {
    if (number_ >= 0)
        close(number_);
    number_ = -1;
}

Descriptor listenUnix(const std::string& path, std::optional<gid_t> group, std::string& error) {
    sockaddr_un address{};
    if (!addressOf(path, address, error) || !removeStale(path, error))
        return {};
    Descriptor listener = newSocket();
    if (!listener.valid() || bind(listener.number(), generic(address), sizeof address) != 0 ||
        !restrict(path, group) || listen(listener.number(), kBacklog) != 0) {
        error = path + ": " + errorText(errno);
        return {};
    }
    return listener;
}

Descriptor connectUnix(const std::string& path, std::string& error) {
    sockaddr_un address{};
    if (!addressOf(path, address, error))
        return {};
    Descriptor connection = newSocket();
    if (!connection.valid() ||
        connect(connection.number(), generic(address), sizeof address) != 0) {
        error = path + ": " + errorText(errno);
        return {};
    }
    return connection;
}

}  // namespace platform
