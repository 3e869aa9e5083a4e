// SPDX-License-Identifier: MIT
//
// Who may use the command channel: root, the user that the daemon runs as, and the members of one
// group, where one is configured.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace platform {

struct CommandAccess {
    std::optional<gid_t> group;
};

/// @return nothing when the system has no such group
std::optional<gid_t> groupOf(const std::string& name);

/// Whether the process at the other end of the UNIX stream socket `socket` may use the channel.
/// @param who  receives who it is, for the log
bool peerMayConnect(int socket, const CommandAccess& access, std::string& who);

/// The same for a user and his primary group.
bool userMayConnect(uid_t user, gid_t primaryGroup, const CommandAccess& access);

}  // namespace platform
