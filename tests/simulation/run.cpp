// SPDX-License-Identifier: MIT
#include "tests/simulation/run.h"

#include <algorithm>

#include "tests/simulation/invariants.h"

namespace simulation {
namespace {

/// What passes before a network is asked whether it is at rest, in ms: two leave-all times. Its
/// last withdrawal may take two more, and a leave time for each switch on its way. In the wild
/// profile it crosses the network again from where a port was switched off that had learnt the
/// VLAN.
constexpr u64 kLeaveAllMs = 120'000;
constexpr u64 kLeaveMs = 32'000;
constexpr u64 kRestMs = 2 * kLeaveAllMs + 50'000;

constexpr u64 mostCrossings(Profile profile) {
    return profile == Profile::Calm ? 1 : 4;
}

constexpr const char* kNoEnd = "what happens has no end";

/// A network's state as its rules have it whatever happens, after some time.
std::string checkLater(Network& network, u64 ms) {
    return network.run(ms) ? checkState(network) : kNoEnd;
}

/// Lets a network come to rest, for no longer than its last withdrawal may take. It is at rest when
/// a leave-all time later it still is.
std::string checkComesToRest(Network& network, Profile profile) {
    std::string problem = checkLater(network, kRestMs);
    u64 leftMs = 2 * kLeaveAllMs + mostCrossings(profile) * kLeaveMs * longestWay(network);
    bool rested = false;
    while (problem.empty()) {
        std::string unrest = checkRest(network, profile);
        if (unrest.empty() && rested)
            break;
        rested = unrest.empty();
        const u64 waitMs = rested ? kLeaveAllMs : kLeaveMs;
        if (waitMs > leftMs)
            return unrest;
        leftMs -= waitMs;
        problem = checkLater(network, waitMs);
    }
    return problem;
}

}  // namespace

Outcome runPlan(const Plan& plan, const std::vector<std::size_t>& chosen) {
    Network network(plan.seed);
    buildNetwork(network, plan);
    Outcome outcome;
    u64 waitedMs = 0;
    std::size_t next = 0;
    for (const std::size_t index : chosen) {
        // The time of the steps that are left out passes too.
        for (; next <= index; next++)
            waitedMs += plan.steps[next].afterMs;
        outcome.when = "after step " + std::to_string(index);
        const bool ended = network.run(waitedMs);
        waitedMs = 0;
        applyStep(network, plan.steps[index]);
        outcome.problem = ended ? checkState(network) : kNoEnd;
        outcome.stepsDone++;
        if (!outcome.problem.empty())
            return outcome;
    }
    endFaults(network);
    outcome.when = "at rest";
    outcome.problem = checkComesToRest(network, plan.profile);
    return outcome;
}

std::vector<std::size_t> shrink(const Plan& plan, std::vector<std::size_t> failing,
                                std::size_t mostRuns) {
    std::size_t runs = 0;
    for (std::size_t part = std::max<std::size_t>(failing.size() / 2, 1); part > 0;) {
        bool removed = false;
        for (std::size_t from = 0; from < failing.size() && runs < mostRuns; runs++) {
            auto fewer = failing;
            const auto begin = fewer.begin() + static_cast<std::ptrdiff_t>(from);
            const auto end =
                begin + static_cast<std::ptrdiff_t>(std::min(part, failing.size() - from));
            fewer.erase(begin, end);
            if (runPlan(plan, fewer).problem.empty()) {
                from += part;
            } else {
                failing = std::move(fewer);
                removed = true;
            }
        }
        if (runs >= mostRuns)
            break;
        if (!removed || part > 1)
            part = part == 1 ? 0 : part / 2;
    }
    return failing;
}

}  // namespace simulation
