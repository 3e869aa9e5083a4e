// SPDX-License-Identifier: MIT
//
// Limits of the contract's timer lists on this host.
#pragma once

#include "platform/contract/types.h"
#include "platform/runtime/moment.h"

namespace platform {

/// Most handlers that one silTimerListCheck() runs. A timer that starts itself again at 0 ms would
/// otherwise keep the protocol task from its sockets; what is left over is due in the next check.
inline constexpr u32 kMaxHandlersPerCheck = 1024;

}  // namespace platform
