// SPDX-License-Identifier: MIT
//
// Runs a whole scenario.
#pragma once

#include <iosfwd>
#include <string>

#include "platform/virtual/state/trace.h"

namespace scenario {

/// Runs the scenario that `input` holds on a host of its own and hands its trace to `sink`.
/// @return the empty string, or what is wrong with the scenario, with its line number; the trace
///         stops there
std::string runScenario(std::istream& input, Trace::Sink sink);

}  // namespace scenario
