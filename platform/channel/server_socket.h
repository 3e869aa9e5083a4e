// SPDX-License-Identifier: MIT
//
// Listening UNIX stream sockets of the host.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/runtime/files/descriptor.h"

namespace platform {

/// Listens on `path`, non-blocking. A socket that a process left behind is replaced, one that is
/// served is not. Owner and `group`, if given, may connect.
/// @param error  receives what was wrong when the result is not valid
Descriptor listenUnix(const std::string& path, std::optional<gid_t> group, std::string& error);

/// Connects to `path`, waiting at most the time that the listener needs to accept.
/// @param error  as above
Descriptor connectUnix(const std::string& path, std::string& error);

}  // namespace platform
