// SPDX-License-Identifier: MIT
//
// Who may use the command channel: root, the user that the daemon runs as, the members of one
// group, where one is configured, and those of another one to read only. Asked of the socket alone:
// the kernel keeps the groups that the process had when it connected, so no database of users is
// read, which a service may not reach and which would wait for a server.
#pragma once

#include <sys/types.h>

#include <optional>
#include <span>
#include <string>

namespace platform {

struct CommandAccess {
    std::optional<gid_t> group;
    std::optional<gid_t> readers = {};  ///< may read only
};

/// @return nothing when the system has no such group
std::optional<gid_t> groupOf(const std::string& name);

/// Who is at the other end of a connection.
enum class PeerRank {
    Stranger,  ///< may not use the channel
    Reader,    ///< of the group that may only read
    Member,    ///< of the configured group
    Owner,     ///< root, or the daemon's own user: always finds a place
};

struct Peer {
    PeerRank rank = PeerRank::Stranger;
    std::string who = "unknown";  ///< for the log
};

/// The rank of a user with these groups, the primary one among them.
PeerRank rankOf(uid_t user, std::span<const gid_t> groups, const CommandAccess& access);

/// Who the process at the other end of the UNIX stream socket `socket` was when it connected.
Peer peerOf(int socket, const CommandAccess& access);

}  // namespace platform
