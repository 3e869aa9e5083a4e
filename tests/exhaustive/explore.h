// SPDX-License-Identifier: MIT
//
// Visits every joint state of a system that can be reached, and holds the rules against them.
#pragma once

#include <string>
#include <vector>

#include "tests/exhaustive/system.h"

namespace exhaustive {

struct Report {
    std::size_t states = 0;
    std::size_t rests = 0;  ///< states in which nothing is under way
    std::size_t transitions = 0;
    std::vector<std::string> problems;  ///< each with the moves that lead to it
    std::size_t vainQuestions = 0;      ///< moves that System::askedInVain() knows
    std::size_t roundStates = 0;        ///< of rounds of LeaveAlls from each rest
    u32 longestMs = 0;                  ///< from any state to a rest, when nothing disturbs
    u32 mostRounds = 0;  ///< leave-all times until a rest is as declared, and stays so
    bool whole = true;   ///< not cut off at the limit of states
};

struct Limits {
    std::size_t states = 0;  ///< more are not visited
};

/// No frame is lost: no registration with a living declaration is ever withdrawn.
Report exploreKept(System* system, const Freedom& freedom, const Limits& limits);

/// Frames are lost: from each state that comes of it, once that ends, the ends come to what is
/// declared.
Report exploreHealed(System* system, const Freedom& freedom, const Limits& limits);

}  // namespace exhaustive
