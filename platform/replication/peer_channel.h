// SPDX-License-Identifier: MIT
//
// One request at a time over a connection to the command channel of another process, each within a
// bounded time. After a failure the connection is of no more use: replies may be out of step.
#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>

#include "platform/channel/protocol.h"

namespace platform {

using Deadline = std::chrono::steady_clock::time_point;

/// How a peer answered.
struct PeerReply {
    u32 status = 0;
    std::string text;  ///< of a refusal, cut to kMostPeerText bytes
};
inline constexpr std::size_t kMostPeerText = 4096;

/// @param connection  a non-blocking stream socket
/// @return the reply, or nothing when there was none until `deadline`
std::optional<PeerReply> requestReply(int connection, const RequestHeader& header,
                                      std::span<const u8> value, Deadline deadline);
/// @return the status of the reply, or nothing when there was none until `deadline`
std::optional<u32> requestStatus(int connection, const RequestHeader& header,
                                 std::span<const u8> value, Deadline deadline);

}  // namespace platform
