// SPDX-License-Identifier: MIT
//
// The daemons of this machine, as their sockets show.
#pragma once

#include <string>
#include <vector>

namespace cli {

/// Paths of the command sockets in a directory: of this one, of the directories in it, and of those
/// beside it whose names begin with its own (/run/mvrp-lab beside /run/mvrp). Only those that
/// somebody listens at, in directories of users who may be believed, in the order of the alphabet.
/// @param socket  path of a command socket, whose directory is meant, or of the directory
std::vector<std::string> daemonSockets(const std::string& socket);

}  // namespace cli
