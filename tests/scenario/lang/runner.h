// SPDX-License-Identifier: MIT
//
// Runs a whole scenario.
#pragma once

#include <iosfwd>
#include <string>

#include "platform/virtual/state/trace.h"

namespace scenario {

/// How the switch answers what a reader in place need not ask.
struct Lookups {
    bool shown = false;   ///< the switch shows its facts in place, where it can
    bool hidden = false;  ///< these look-ups are left out of the trace
};

/// Runs the scenario that `input` holds on a host of its own and hands its trace to `sink`.
/// @return the empty string, or what is wrong with the scenario, with its line number; the trace
///         stops there
std::string runScenario(std::istream& input, Trace::Sink sink, Lookups lookups = {});

}  // namespace scenario
