// SPDX-License-Identifier: MIT
//
// What a standby card does in its own turn with what its active said.
#pragma once

#include <span>

#include "daemon/mgmt/config.h"
#include "platform/virtual/network/node.h"

namespace simulation {

/// The command that carries a synchronisation packet; every other one is a setting.
inline constexpr u32 kSyncPacketCommand = kMvrpScalarCommandBase + MVRP_SCALAR_SYNC_PACKET;

/// In a turn of the standby: takes what the active said.
void takeFromActive(Node& standby, std::span<const StandbyMessage> messages);

}  // namespace simulation
