// SPDX-License-Identifier: MIT
//
// A standby card of a simulated switch: a daemon with a switch and ports of its own, without
// cables, that is told what the active's daemon sets and applies. What it is told is queued, and
// taken in a turn of its own right after the active's, whose calls have succeeded by then: here a
// standby refuses nothing.
#pragma once

#include <string>

#include "platform/virtual/network/network.h"

namespace simulation {

/// Gives a switch a standby with the ports, VLANs and permissions that the switch has now; one that
/// has a standby sees it start anew. Outside any turn.
void attachStandby(Network& network, u32 active);

/// Checks a switch that came to rest against its standby: what it has applied on a port the standby
/// has too, as far as the port there carries it, and nothing was ever made there that the active
/// did not list. @return the empty string, or what is wrong
std::string checkStandby(Network& network, const Node& active);

}  // namespace simulation
