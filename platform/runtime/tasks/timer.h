// SPDX-License-Identifier: MIT
//
// Limits of the contract's timer lists on this host.
#pragma once

#include <optional>

#include "platform/contract/types.h"
#include "platform/runtime/moment.h"

namespace platform {

/// Most handlers that one silTimerListCheck() runs. A timer that starts itself again at 0 ms would
/// otherwise keep the protocol task from its sockets; what is left over is due in the next check.
inline constexpr u32 kMaxHandlersPerCheck = 1024;

/// Milliseconds until the timer expires that was started last without an argument; 0 when it is
/// due, nothing when there was none. All timers of ports have their port: without is the one that
/// applies memberships that are pending. Any thread.
std::optional<u64> portlessTimerMs();

}  // namespace platform
