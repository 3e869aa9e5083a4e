// SPDX-License-Identifier: MIT
#include "tests/simulation/run.h"

#include <algorithm>

#include "tests/simulation/invariants.h"

namespace simulation {
namespace {

/// What passes before a network counts as at rest, in ms: some leave-all times, and a leave time
/// for each switch that a withdrawal may have to pass.
constexpr u64 kRestMs = 4 * 120'000 + 50'000;
constexpr u64 kRestMsPerSwitch = 32'000;
constexpr const char* kNoEnd = "what happens has no end";

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
    outcome.problem = network.run(kRestMs + kRestMsPerSwitch * longestWay(network))
                          ? checkState(network)
                          : kNoEnd;
    if (outcome.problem.empty())
        outcome.problem = checkRest(network, plan.profile);
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
