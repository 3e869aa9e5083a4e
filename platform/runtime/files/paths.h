// SPDX-License-Identifier: MIT
//
// Where the daemon's sockets live.
#pragma once

#include <string>

namespace platform {

/// Names the directory that takes the place of /tmp, one for each daemon.
inline constexpr const char* kRuntimeDirVariable = "MVRP_RUNTIME_DIR";

/// @return the path to use for a socket that the daemon names `path`: in the runtime directory when
///         one is set and `path` lies in /tmp, otherwise `path` itself
std::string runtimePath(const std::string& path);

}  // namespace platform
