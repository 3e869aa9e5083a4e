// SPDX-License-Identifier: MIT
//
// Runs a plan, and finds the shortest list of its steps that still fails.
#pragma once

#include "tests/simulation/step.h"

namespace simulation {

struct Outcome {
    std::string problem;        ///< empty: all invariants held
    std::string when;           ///< "after step N", "at rest"
    std::size_t stepsDone = 0;  ///< of the steps that were asked for
};

/// @param chosen  indexes of the plan's steps to run, ascending
Outcome runPlan(const Plan& plan, const std::vector<std::size_t>& chosen);

/// Takes steps out of a failing list as long as it fails, at whatever place.
/// @param mostRuns  after so many tries what was reached is returned
std::vector<std::size_t> shrink(const Plan& plan, std::vector<std::size_t> failing,
                                std::size_t mostRuns);

}  // namespace simulation
