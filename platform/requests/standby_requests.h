// SPDX-License-Identifier: MIT
//
// The requests about the pair of an active and a standby: of its other end, and of people.
#pragma once

#include "platform/channel/dispatcher.h"
#include "platform/replication/role.h"

namespace platform {

/// Registers StandbyHello, StandbyBeat, StandbyAgree, StandbyTakeOver and StandbyInfo. The role
/// outlives the dispatcher's use.
void registerStandbyRequests(Dispatcher& dispatcher, StandbyRole& role);

}  // namespace platform
