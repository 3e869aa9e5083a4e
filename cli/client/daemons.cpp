// SPDX-License-Identifier: MIT
#include "cli/client/daemons.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "cli/client/client.h"
#include "platform/runtime/files/descriptor.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

/// A socket that a daemon left behind refuses; one that may not be asked is there all the same.
bool isListenedAt(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path))
        return false;
    path.copy(address.sun_path, path.size());
    const platform::Descriptor probe(
        socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) ==
               0 ||
           (errno != ECONNREFUSED && errno != ENOENT);
}

/// What others put where everybody may write is nobody's daemon.
bool isTrustedDirectory(const std::string& path) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode) && isTrustedUser(found.st_uid);
}

std::vector<std::string> directoriesIn(const fs::path& parent, const std::string& begin) {
    std::vector<std::string> found;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(parent, error))
        if (entry.path().filename().string().starts_with(begin) && isTrustedDirectory(entry.path()))
            found.push_back(entry.path());
    return found;
}

}  // namespace

std::vector<std::string> daemonSockets(const std::string& socket) {
    std::error_code error;
    fs::path base = fs::absolute(socket, error);
    if (!fs::is_directory(base, error) || !base.has_filename())
        base = base.parent_path();
    std::vector<std::string> directories = directoriesIn(base, "");
    directories.push_back(base);
    if (base.has_parent_path() && base.has_filename())
        std::ranges::copy(directoriesIn(base.parent_path(), base.filename()),
                          std::back_inserter(directories));
    std::vector<std::string> sockets;
    for (const std::string& directory : directories)
        if (const std::string path = directory + "/" + kSocketName; isListenedAt(path))
            sockets.push_back(path);
    std::ranges::sort(sockets);
    sockets.erase(std::unique(sockets.begin(), sockets.end()), sockets.end());
    return sockets;
}

}  // namespace cli
