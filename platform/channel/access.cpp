// SPDX-License-Identifier: MIT
#include "platform/channel/access.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

namespace platform {
namespace {

constexpr uid_t kRoot = 0;
constexpr int kMostGroups = 65536;  // of a user, as the kernel has it

bool supplementaryMember(uid_t user, gid_t primaryGroup, gid_t group) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> text{};
    if (getpwuid_r(user, &entry, text.data(), text.size(), &found) != 0 || found == nullptr)
        return false;
    std::vector<gid_t> groups(64);
    int count = static_cast<int>(groups.size());
    while (getgrouplist(found->pw_name, primaryGroup, groups.data(), &count) < 0) {
        if (count > kMostGroups || count <= static_cast<int>(groups.size()))
            return false;
        groups.resize(static_cast<std::size_t>(count));
    }
    const auto end = groups.begin() + count;
    return std::find(groups.begin(), end, group) != end;
}

}  // namespace

std::optional<gid_t> groupOf(const std::string& name) {
    group entry{};
    group* found = nullptr;
    std::vector<char> text(65536);
    if (getgrnam_r(name.c_str(), &entry, text.data(), text.size(), &found) != 0 || found == nullptr)
        return std::nullopt;
    return found->gr_gid;
}

bool userMayConnect(uid_t user, gid_t primaryGroup, const CommandAccess& access) {
    if (user == kRoot || user == geteuid())
        return true;
    if (!access.group)
        return false;
    return primaryGroup == *access.group || supplementaryMember(user, primaryGroup, *access.group);
}

bool peerMayConnect(int socket, const CommandAccess& access, std::string& who) {
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        who = "unknown";
        return false;
    }
    who = "user " + std::to_string(peer.uid) + ", process " + std::to_string(peer.pid);
    return userMayConnect(peer.uid, peer.gid, access);
}

}  // namespace platform
