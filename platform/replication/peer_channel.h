// SPDX-License-Identifier: MIT
//
// One request at a time over a connection to the command channel of another process, each within a
// bounded time. After a failure the connection is of no more use: replies may be out of step.
#pragma once

#include <chrono>
#include <optional>
#include <span>

#include "platform/channel/protocol.h"

namespace platform {

using Deadline = std::chrono::steady_clock::time_point;

/// @param connection  a non-blocking stream socket
/// @return the status of the reply, or nothing when there was none until `deadline`
std::optional<u32> requestStatus(int connection, const RequestHeader& header,
                                 std::span<const u8> value, Deadline deadline);

}  // namespace platform
