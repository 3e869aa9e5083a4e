// SPDX-License-Identifier: MIT
#include "platform/channel/server_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

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
    if (connectUnix(path, ignored).isOpen()) {
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

Descriptor listenUnix(const std::string& path, std::optional<gid_t> group, std::string& error) {
    sockaddr_un address{};
    if (!addressOf(path, address, error) || !removeStale(path, error))
        return Descriptor();
    Descriptor listener = newSocket();
    if (!listener.isOpen() || bind(listener.get(), generic(address), sizeof address) != 0 ||
        !restrict(path, group) || listen(listener.get(), kBacklog) != 0) {
        error = path + ": " + errorText(errno);
        return Descriptor();
    }
    return listener;
}

Descriptor connectUnix(const std::string& path, std::string& error) {
    sockaddr_un address{};
    if (!addressOf(path, address, error))
        return Descriptor();
    Descriptor connection = newSocket();
    if (!connection.isOpen() || connect(connection.get(), generic(address), sizeof address) != 0) {
        error = path + ": " + errorText(errno);
        return Descriptor();
    }
    return connection;
}

}  // namespace platform
