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

}  // namespace simulation
