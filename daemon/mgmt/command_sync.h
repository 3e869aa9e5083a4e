// SPDX-License-Identifier: MIT
//
// Replication of a configuration change, which comes before the change itself.
#pragma once

#include "daemon/mgmt/config.h"

/// Word 0 of the control block of a port command carries this beside the mode, and word 1 the size.
inline constexpr u32 kMvrpPortCommandFlag = 0x10000000;

/// Hands a scalar's command to the store and the standby. The value is a u32.
/// @return 0, or why the change must not be made
u32 mvrpCommandSync(u32 unit, u32 command, void* value, MvrpSetMode mode);

/// The same for a port's command.
u32 mvrpPortCommandSync(u32 unit, u32 command, void* value, MvrpSetMode mode);
