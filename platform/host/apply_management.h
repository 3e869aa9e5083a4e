// SPDX-License-Identifier: MIT
//
// Brings the daemon to the management settings of a configuration, through the handlers that the
// command channel uses. In the command task.
#pragma once

#include <span>

#include "platform/channel/dispatcher.h"
#include "platform/config/host_config.h"

namespace platform {

/// Applies what `wanted` says and `before` does not. What neither mentions is left alone; so is
/// what only `before` mentions, but a port or the daemon that was enabled and is not mentioned any
/// more: it is disabled. A refusal is logged, and the rest is applied all the same.
/// @return how many settings were refused
u32 applyManagement(Dispatcher& dispatcher, const ManagementConfig& before,
                    const ManagementConfig& wanted);

/// The settings as the daemon has them, of all ports among `units` that run the protocol: nothing
/// is left open, so applyManagement() leads back to them from wherever the daemon is.
ManagementConfig readManagement(const Dispatcher& dispatcher, std::span<const u32> units);

/// Applies the settings of one port, all but its enabling. @return how many were refused
u32 applyPortSettings(Dispatcher& dispatcher, u32 unit, const PortManagement& wanted);

}  // namespace platform
