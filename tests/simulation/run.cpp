// SPDX-License-Identifier: MIT
#include "tests/simulation/run.h"

#include <algorithm>
#include <map>

#include "platform/contract/management.h"
#include "tests/simulation/invariants.h"
#include "tests/simulation/prompt.h"
#include "tests/simulation/ways.h"

namespace simulation {
namespace {

/// What passes before a network is asked whether it is at rest, in ms: two leave-all times. Its
/// last withdrawal may take two more, and a leave time for each switch on its way. In the wild
/// profile it crosses the network again from where a port was switched off that had learnt the
/// VLAN.
constexpr u64 kLeaveAllMs = kMvrpLeaveAllTime.initial;
constexpr u64 kLeaveMs = 32'000;
constexpr u64 kRestMs = 2 * kLeaveAllMs + 50'000;

constexpr u64 mostCrossings(Profile profile) {
    return profile == Profile::Calm ? 1 : 4;
}

constexpr const char* kNoEnd = "what happens has no end";

/// One plan while it runs.
class Run {
  public:
    explicit Run(const Plan& plan)
        : plan_(plan),
          network_(plan.seed, plan.corrections),
          ways_(buildNetwork(network_, plan)),
          continuity_(network_, ways_) {
        network_.setObserver([this](const Node& node) { look(node); });
    }

    Outcome steps(const std::vector<std::size_t>& chosen);
    std::string rest();
    /// How soon a network at rest is right again.
    std::string afterRest() {
        continuity_.stop();  // ports on the ways are switched off and on
        return checkPrompt(network_, plan_, [this](u64 ms) { return later(ms); });
    }

  private:
    void look(const Node& node) {
        continuity_.look(node);
        if (counts_ && node.index < network_.switchCount())
            for (const SentFrame& frame : node.sent)
                sent_[{node.index, frame.unit}]++;
    }

    std::string later(u64 ms);
    std::string checkNow();
    std::string checkFrames() const;
    std::string restProblem() {
        return plan_.exact ? checkExactRest(network_) : checkRest(network_, plan_.profile);
    }

    const Plan& plan_;
    Network network_;
    std::vector<Way> ways_;
    Continuity continuity_;
    bool counts_ = false;
    std::map<std::pair<u32, u32>, u32> sent_;  // frames since they are counted, by switch and unit
};

/// What holds whatever happens.
std::string Run::checkNow() {
    if (!continuity_.problem().empty())
        return continuity_.problem();
    std::string problem = continuity_.missing();
    if (problem.empty() && plan_.exact)
        problem = checkExactNow(network_);
    return problem.empty() ? checkState(network_) : problem;
}

std::string Run::later(u64 ms) {
    return network_.run(ms) ? checkNow() : kNoEnd;
}

/// With all corrections on the traffic at rest does not depend on the size of the network.
std::string Run::checkFrames() const {
    if (!plan_.exact || refusesSome(network_))
        return {};
    for (const auto& [port, frames] : sent_)
        if (frames > kMostRestFrames)
            return "switch " + std::to_string(port.first) + " port " + std::to_string(port.second) +
                   ": sent " + std::to_string(frames) + " frames in a leave-all time at rest";
    return {};
}

/// Lets the network come to rest, for no longer than its last withdrawal may take. It is at rest
/// when a leave-all time later it still is.
std::string Run::rest() {
    endFaults(network_);
    std::string problem = later(kRestMs);
    u64 leftMs = 2 * kLeaveAllMs + mostCrossings(plan_.profile) * kLeaveMs * longestWay(network_);
    while (problem.empty()) {
        std::string unrest = restProblem();
        if (unrest.empty() && counts_)
            return checkFrames();
        counts_ = unrest.empty();
        sent_.clear();
        const u64 waitMs = counts_ ? kLeaveAllMs : kLeaveMs;
        if (waitMs > leftMs)
            return unrest;
        leftMs -= waitMs;
        problem = later(waitMs);
    }
    return problem;
}

Outcome Run::steps(const std::vector<std::size_t>& chosen) {
    Outcome outcome;
    u64 waitedMs = 0;
    std::size_t next = 0;
    for (const std::size_t index : chosen) {
        // The time of the steps that are left out passes too.
        for (; next <= index; next++)
            waitedMs += plan_.steps[next].afterMs;
        outcome.when = "after step " + std::to_string(index);
        const bool ended = network_.run(waitedMs);
        waitedMs = 0;
        const Step& step = plan_.steps[index];
        if (!cutsWay(network_, ways_, step))
            applyStep(network_, step);
        outcome.problem = ended ? checkNow() : kNoEnd;
        outcome.stepsDone++;
        if (!outcome.problem.empty())
            break;
    }
    return outcome;
}

}  // namespace

Outcome runPlan(const Plan& plan, const std::vector<std::size_t>& chosen) {
    Run run(plan);
    Outcome outcome = run.steps(chosen);
    if (!outcome.problem.empty())
        return outcome;
    outcome.when = "at rest";
    outcome.problem = run.rest();
    if (!outcome.problem.empty() || !plan.exact)
        return outcome;
    outcome.when = "after the rest";
    outcome.problem = run.afterRest();
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
