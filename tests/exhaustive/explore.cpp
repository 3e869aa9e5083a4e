// SPDX-License-Identifier: MIT
#include "tests/exhaustive/explore.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

namespace exhaustive {
namespace {

constexpr std::size_t kMostProblems = 3;

struct JointHash {
    std::size_t operator()(const Joint& joint) const {
        u64 words[(sizeof(Joint) + 7) / 8] = {};
        std::memcpy(words, &joint, sizeof(joint));
        u64 hash = 0x9E3779B97F4A7C15;
        for (const u64 word : words) {
            hash = (hash ^ word) * 0xFF51AFD7ED558CCD;
            hash ^= hash >> 32U;
        }
        return hash;
    }
};
struct JointEqual {
    bool operator()(const Joint& a, const Joint& b) const {
        return std::memcmp(&a, &b, sizeof(a)) == 0;
    }
};
static_assert(std::has_unique_object_representations_v<Joint>);

/// The states that were found, with how each was found first.
class Found {
  public:
    /// @return the number of a state, and whether it is new
    std::pair<u32, bool> add(const Joint& joint, u32 from, const Move& move) {
        const auto [place, fresh] = index_.try_emplace(joint, static_cast<u32>(states_.size()));
        if (fresh) {
            states_.push_back(&place->first);
            ways_.push_back({from, move});
        }
        return {place->second, fresh};
    }
    std::size_t size() const { return states_.size(); }
    const Joint& operator[](u32 number) const { return *states_[number]; }

    /// The moves from the beginning to a state.
    std::string way(const System& system, u32 number) const {
        std::vector<u32> path;
        for (u32 at = number; at != 0; at = ways_[at].from)
            path.push_back(at);
        std::string text;
        std::reverse(path.begin(), path.end());
        for (const u32 at : path)
            text += "  " + system.describe(ways_[at].move) + "   " + system.describe(*states_[at]) +
                    "\n";
        return text;
    }

  private:
    struct Way {
        u32 from;
        Move move;
    };
    std::unordered_map<Joint, u32, JointHash, JointEqual> index_;
    std::vector<const Joint*> states_;
    std::vector<Way> ways_;
};

void complain(Report* report, const System& system, const Found& found, u32 at,
              const std::string& what) {
    if (report->problems.size() < kMostProblems)
        report->problems.push_back(what + "\n" + found.way(system, at));
}

}  // namespace

Report exploreKept(System* system, const Freedom& freedom, const Limits& limits) {
    Report report;
    Found found;
    found.add(system->initial(), 0, {});
    for (u32 at = 0; at < found.size() && report.problems.size() < kMostProblems; ++at) {
        if (found.size() > limits.states) {
            report.whole = false;
            break;
        }
        const Joint here = found[at];
        report.rests += system->atRest(here) ? 1 : 0;
        system->moves(here, freedom, [&](Joint next, const Move& move) {
            ++report.transitions;
            const std::string what = here.excused != 0 ? "" : system->withdrawal(here, next);
            if (!what.empty())
                complain(&report, *system, found, at, what + " by: " + system->describe(move));
            if (next.excused == 0 && !system->atRest(next) && system->askedInVain(next, move)) {
                ++report.vainQuestions;
                next.excused = 1;
            }
            found.add(next, at, move);
        });
    }
    report.states = found.size();
    return report;
}

namespace {

/// What follows from each state when nothing disturbs.
struct Course {
    std::vector<u32> begin;  ///< of each state's successors in `next`; one more at the end
    std::vector<u32> next;   ///< the top bit: by a tick
};
constexpr u32 kByTick = 1U << 31U;

/// The longest time from any state to a rest, in ticks; none when a state never rests.
std::optional<u32> longest(const Course& course, std::size_t states, u32* endless) {
    std::vector<u32> open(states, 0);  // successors that are not settled
    std::vector<u32> ticks(states, 0);
    std::vector<u32> counts(states + 1, 0);
    for (const u32 next : course.next)
        ++counts[(next & ~kByTick) + 1];
    for (std::size_t i = 0; i < states; ++i)
        counts[i + 1] += counts[i];
    std::vector<u32> before(course.next.size());
    std::vector<u32> place(counts.begin(), counts.end() - 1);
    std::vector<u32> ready;
    for (u32 at = 0; at < states; ++at) {
        open[at] = course.begin[at + 1] - course.begin[at];
        if (open[at] == 0)
            ready.push_back(at);
        for (u32 i = course.begin[at]; i < course.begin[at + 1]; ++i)
            before[place[course.next[i] & ~kByTick]++] = at | (course.next[i] & kByTick);
    }
    std::size_t settled = 0;
    u32 most = 0;
    while (settled < ready.size()) {
        const u32 at = ready[settled++];
        most = std::max(most, ticks[at]);
        for (u32 i = counts[at]; i < counts[at + 1]; ++i) {
            const u32 from = before[i] & ~kByTick;
            ticks[from] = std::max(ticks[from], ticks[at] + ((before[i] & kByTick) != 0 ? 1 : 0));
            if (--open[from] == 0)
                ready.push_back(from);
        }
    }
    if (settled == states)
        return most;
    *endless = static_cast<u32>(
        std::find_if(open.begin(), open.end(), [](u32 left) { return left != 0; }) - open.begin());
    return std::nullopt;
}

/// A rest, and the ends that have sent or heard a LeaveAll in the present round.
using Served = Joint;

/// The rests that an episode with LeaveAlls ends with, when nothing else disturbs. In a round each
/// end sends one at most, and hears any number.
std::vector<Served> restsAfter(System* system, const Freedom& freedom, const Served& rest,
                               const std::function<bool(const Served&)>& shown = {},
                               std::string* how = nullptr) {
    Found found;
    Freedom only;
    only.leaveAlls = true;
    only.disturbances = freedom.disturbances;
    only.countsLeaveAlls = freedom.countsLeaveAlls;
    only.instant = freedom.instant;
    found.add(rest, 0, {});
    std::vector<Served> rests;
    for (u32 at = 0; at < found.size(); ++at) {
        const Joint here = found[at];
        if (at != 0 && system->atRest(here)) {
            rests.push_back(here);
            if (shown && how->empty() && shown(here))
                *how = found.way(*system, at);
            continue;
        }
        system->moves(here, only, [&](Joint next, const Move& move) {
            // A rest does not end a round.
            if (system->atRest(next))
                next.leaveAlls |= here.leaveAlls;
            found.add(next, at, move);
        });
    }
    return rests;
}

}  // namespace

// One account from the states to the rounds.
// NOLINTNEXTLINE(readability-function-size)
Report exploreHealed(System* system, const Freedom& freedom, const Limits& limits) {
    Report report;
    Found found;
    Course course;
    std::vector<u32> rests;
    found.add(system->initial(), 0, {});
    for (u32 at = 0; at < found.size(); ++at) {
        if (found.size() > limits.states) {
            report.whole = false;
            break;
        }
        const Joint here = found[at];
        const bool rest = system->atRest(here);
        if (rest)
            rests.push_back(at);
        course.begin.push_back(static_cast<u32>(course.next.size()));
        system->moves(here, freedom, [&](const Joint& next, const Move& move) {
            ++report.transitions;
            const u32 number = found.add(next, at, move).first;
            if (move.kind == Kindred::Protocol)
                course.next.push_back(number | (move.step == Step::Tick ? kByTick : 0));
        });
        if (!rest && course.begin.back() == course.next.size())
            complain(&report, *system, found, at, "nothing can happen");
    }
    report.states = found.size();
    report.rests = rests.size();
    if (!report.whole)
        return report;
    course.begin.push_back(static_cast<u32>(course.next.size()));
    u32 endless = 0;
    const std::optional<u32> ticks = longest(course, found.size(), &endless);
    if (ticks.has_value())
        report.longestMs = *ticks * kTickMs;
    else
        complain(&report, *system, found, endless, "never comes to rest by itself");

    // Rounds of LeaveAlls from each rest. In the leave-all time each end sends one or hears one,
    // which starts its time again; when all have, the round is over.
    const u8 all = system->allEnds();
    std::unordered_map<Served, std::vector<Served>, JointHash, JointEqual> after;
    std::vector<Served> open;
    open.reserve(rests.size());
    for (const u32 at : rests)
        open.push_back(found[at]);
    while (!open.empty()) {
        const Served rest = open.back();
        open.pop_back();
        const auto [place, fresh] = after.try_emplace(rest);
        if (!fresh)
            continue;
        std::vector<Served> next = restsAfter(system, freedom, rest);
        for (Served& each : next) {
            if (each.leaveAlls == all)
                each.leaveAlls = 0;
            open.push_back(each);
        }
        after[rest] = std::move(next);
    }
    // What is as declared, and stays so.
    std::unordered_set<Served, JointHash, JointEqual> good;
    for (const auto& [rest, next] : after)
        if (system->disagreement(rest).empty())
            good.insert(rest);
    const auto allIn = [](const std::vector<Served>& rests_, const auto& set) {
        return std::all_of(rests_.begin(), rests_.end(),
                           [&](const Served& each) { return set.contains(each); });
    };
    for (bool changed = true; changed;) {
        changed = false;
        for (const auto& [rest, next] : after)
            if (good.contains(rest) && !allIn(next, good)) {
                good.erase(rest);
                changed = true;
            }
    }
    // A rest is mended within a round if every episode of the round leads to one that is, or to
    // where the round is over and what follows is mended within one round less.
    std::unordered_map<Served, u32, JointHash, JointEqual> rounds;
    for (const Served& rest : good)
        rounds[rest] = 0;
    for (bool changed = true; changed;) {
        changed = false;
        for (const auto& [rest, next] : after) {
            if (rounds.contains(rest))
                continue;
            u32 most = 0;
            bool known = !next.empty();
            for (const Served& each : next) {
                const auto place = rounds.find(each);
                known = known && place != rounds.end();
                if (!known)
                    break;
                // A round that begins anew is over; else the same round goes on.
                const bool over = each.leaveAlls == 0 && place->second != 0;
                most = std::max(most, std::max(1U, place->second + (over ? 1U : 0U)));
            }
            if (known) {
                rounds[rest] = most;
                changed = true;
            }
        }
    }
    for (const u32 at : rests) {
        const auto place = rounds.find(found[at]);
        if (place != rounds.end()) {
            report.mostRounds = std::max(report.mostRounds, place->second);
            continue;
        }
        if (report.problems.size() >= kMostProblems)
            continue;
        std::string how;
        restsAfter(
            system, freedom, found[at],
            [&](const Served& each) {
                Served begun = each;
                if (begun.leaveAlls == all)
                    begun.leaveAlls = 0;
                return !rounds.contains(begun);
            },
            &how);
        complain(&report, *system, found, at,
                 "at rest, and not for certain ever to be mended, " +
                     system->disagreement(found[at]) + "\n  LeaveAlls may lead to no better:\n" +
                     how + "  after");
    }
    return report;
}

}  // namespace exhaustive
