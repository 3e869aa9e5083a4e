// SPDX-License-Identifier: MIT
#include "platform/channel/access.h"

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace platform {
namespace {

constexpr uid_t kRoot = 0;
constexpr std::size_t kMostGroups = 65536;  // of a process, as the kernel has it

/// The supplementary groups of the peer; none when the kernel does not say.
std::vector<gid_t> groupsOf(int socket) {
    std::vector<gid_t> groups(32);
    for (;;) {
        auto bytes = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes) == 0) {
            groups.resize(bytes / sizeof(gid_t));
            return groups;
        }
        // With ERANGE the length is what it takes.
        const std::size_t wanted = bytes / sizeof(gid_t);
        if (errno != ERANGE || wanted <= groups.size() || wanted > kMostGroups)
            return {};
        groups.resize(wanted);
    }
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

PeerRank rankOf(uid_t user, std::span<const gid_t> groups, const CommandAccess& access) {
    if (user == kRoot || user == geteuid())
        return PeerRank::Owner;
    const auto isOf = [groups](const std::optional<gid_t>& group) {
        return group && std::ranges::find(groups, *group) != groups.end();
    };
    return isOf(access.group)     ? PeerRank::Member
           : isOf(access.readers) ? PeerRank::Reader
                                  : PeerRank::Stranger;
}

Peer peerOf(int socket, const CommandAccess& access) {
    Peer peer;
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        return peer;
    std::vector<gid_t> groups = groupsOf(socket);
    groups.push_back(credentials.gid);
    peer.who =
        "user " + std::to_string(credentials.uid) + ", process " + std::to_string(credentials.pid);
    peer.rank = rankOf(credentials.uid, groups, access);
    return peer;
}

}  // namespace platform
