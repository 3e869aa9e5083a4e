// SPDX-License-Identifier: MIT
//
// What becomes of the dynamic memberships that a new active found on its switch: they stay while
// the neighbours have their time to declare them again, and then those go that nobody did.
//
// Locking: the command task's.
#pragma once

#include <chrono>

#include "platform/channel/dispatcher.h"
#include "platform/channel/server.h"
#include "platform/switch/switch_driver.h"

namespace platform {

/// The time in which every neighbour declares again: one leave-all and one leave time, the longest
/// of all ports that run the protocol.
std::chrono::milliseconds timeToClaim(Dispatcher& dispatcher);

/// Removes the unclaimed memberships after that time, in the command task. All outlive the process'
/// last thread.
void clearUnclaimedAfter(std::chrono::milliseconds time, SwitchDriver& driver,
                         CommandServer& server);

}  // namespace platform
