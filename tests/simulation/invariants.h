// SPDX-License-Identifier: MIT
//
// What holds for a daemon's state whatever happened to it, and for a network that came to rest.
#pragma once

#include <string>

#include "tests/simulation/step.h"

namespace simulation {

/// Checks every switch. @return the empty string, or what is wrong and where
std::string checkState(Network& network);

/// Checks a network whose faults ended some leave-all times ago.
std::string checkRest(Network& network, Profile profile);

// The same with all corrections on, where the rules are exact.

/// Checks the switches that acted since checkState(), before it is called.
std::string checkExactNow(Network& network);
/// What every port has registered, is a member of and declares.
std::string checkExactPorts(Network& network);
/// The same, and what standbys have.
std::string checkExactRest(Network& network);
/// Most frames that a port sends in one leave-all time at rest, in a network of any size. Where
/// ports refuse VLANs there is no such number: an end that has not registered what is declared to
/// it is told again, and two that refuse each other's do so for ever.
inline constexpr u32 kMostRestFrames = 12;
bool refusesSome(const Network& network);

}  // namespace simulation
