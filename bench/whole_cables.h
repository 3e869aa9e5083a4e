// SPDX-License-Identifier: MIT
//
// The ends of UNIX cables, outside the daemon. Errors are exceptions with a text.
#pragma once

#include <sys/un.h>

#include <cstddef>
#include <span>
#include <string>

#include "platform/contract/types.h"
#include "platform/runtime/files/descriptor.h"

namespace bench {

/// No frame of a daemon is longer, in bytes.
inline constexpr std::size_t kLongestFrame = 3840;

sockaddr_un addressOf(const std::string& path);

/// A socket at `path` that takes what anybody sends there. A connected one would take nothing from
/// the daemon's sending socket, which has no name.
platform::Descriptor openEnd(const std::string& path);

/// A socket without a name that sends to `path`, where somebody is.
platform::Descriptor openSender(const std::string& path);

/// Sends a frame, and waits for room as a cable between daemons does.
/// @return false when there was none within 20 ms
bool sendInto(int socket, std::span<const u8> frame);

}  // namespace bench
