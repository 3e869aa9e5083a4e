// SPDX-License-Identifier: MIT
//
// How soon a network at rest is right again. Rules about where a network ends can not tell a daemon
// that acts at once from one that waits for the next LeaveAll; these can: with the standard times,
// one VLAN at a time becomes static somewhere, and is deleted again, and is everywhere as declared
// before any LeaveAll had to mend it.
#pragma once

#include <functional>
#include <string>

#include "tests/simulation/step.h"

namespace simulation {

/// Lets time pass. @return what is wrong after it, or empty
using Later = std::function<std::string(u64 ms)>;

/// The network is at rest and right, and all its daemons have all corrections.
/// @return what was not right in time, or empty
std::string checkPrompt(Network& network, const Plan& plan, const Later& later);

}  // namespace simulation
