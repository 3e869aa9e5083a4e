// SPDX-License-Identifier: MIT
#include "tests/exhaustive/explore.h"

#include <algorithm>
#include <optional>

#include "tests/exhaustive/found.h"

namespace exhaustive {
namespace {

constexpr std::size_t kMostProblems = 3;

void complain(Report* report, const System& system, const Found& found, u32 at,
              const std::string& what) {
    if (report->problems.size() < kMostProblems)
        report->problems.push_back(what + "\n" + found.way(system, at));
}

}  // namespace

Report exploreKept(System* system, const Freedom& freedom, const Limits& limits) {
    Report report;
    Found found(*system);
    found.add(system->initial(), 0, {});
    for (u32 at = 0; at < found.size() && report.problems.size() < kMostProblems; ++at) {
        if (found.size() > limits.states) {
            report.whole = false;
            break;
        }
        const Joint here = found[at];
        report.rests += system->atRest(here) ? 1 : 0;
        system->moves(here, freedom, [&](Joint next, const Move& move, const Joint& plain) {
            ++report.transitions;
            const std::string what = here.excused != 0 ? "" : system->withdrawal(here, plain);
            if (!what.empty())
                complain(&report, *system, found, at, what + " by: " + system->describe(move));
            if (next.excused == 0 && !system->atRest(next) && system->askedInVain(plain, move)) {
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

/// What follows from each state.
struct Course {
    std::vector<u32> begin;  ///< of each state's successors in `next`; one more at the end
    std::vector<u32> next;   ///< the top bit: by a tick
};
constexpr u32 kByTick = 1U << 31U;

/// The same the other way round: from where a state is come to.
Course reversed(const Course& course) {
    const std::size_t states = course.begin.size() - 1;
    Course back;
    back.begin.assign(states + 1, 0);
    back.next.resize(course.next.size());
    for (const u32 next : course.next)
        ++back.begin[(next & ~kByTick) + 1];
    for (std::size_t i = 0; i < states; ++i)
        back.begin[i + 1] += back.begin[i];
    std::vector<u32> place(back.begin.begin(), back.begin.end() - 1);
    for (u32 at = 0; at < states; ++at)
        for (u32 i = course.begin[at]; i < course.begin[at + 1]; ++i)
            back.next[place[course.next[i] & ~kByTick]++] = at | (course.next[i] & kByTick);
    return back;
}

/// Gives each state a number that follows from those of its successors, from the ends on.
/// @param settled  states whose number does not follow from others
/// @param pass     raises the number of a state by that of a successor: (from, to, by a tick)
/// @return whether all could be given one; those that could not have an `open` that is not 0
template <class Pass>
bool settle(const Course& course, const std::vector<u32>& settled, std::vector<u32>* open,
            const Pass& pass) {
    const std::size_t states = course.begin.size() - 1;
    const Course back = reversed(course);
    open->assign(states, 0);
    for (std::size_t at = 0; at < states; ++at)
        (*open)[at] = course.begin[at + 1] - course.begin[at];
    std::vector<u32> ready = settled;
    for (const u32 at : settled)
        (*open)[at] = 0;
    for (std::size_t done = 0; done < ready.size(); ++done)
        for (u32 i = back.begin[ready[done]]; i < back.begin[ready[done] + 1]; ++i) {
            const u32 from = back.next[i] & ~kByTick;
            if ((*open)[from] == 0)
                continue;
            pass(from, ready[done], (back.next[i] & kByTick) != 0);
            if (--(*open)[from] == 0)
                ready.push_back(from);
        }
    return ready.size() == states;
}

/// The longest time from any state to a rest, in ticks; none when a state never rests.
std::optional<u32> longest(const Course& course, u32* endless) {
    const std::size_t states = course.begin.size() - 1;
    std::vector<u32> ticks(states, 0);
    std::vector<u32> ends;
    for (u32 at = 0; at < states; ++at)
        if (course.begin[at] == course.begin[at + 1])
            ends.push_back(at);
    std::vector<u32> open;
    const bool all = settle(course, ends, &open, [&ticks](u32 from, u32 to, bool byTick) {
        ticks[from] = std::max(ticks[from], ticks[to] + (byTick ? 1 : 0));
    });
    if (all)
        return *std::max_element(ticks.begin(), ticks.end());
    *endless = static_cast<u32>(
        std::find_if(open.begin(), open.end(), [](u32 left) { return left != 0; }) - open.begin());
    return std::nullopt;
}

/// Rounds of LeaveAlls from every rest, when nothing else disturbs. In the leave-all time each end
/// sends one or hears one, which starts its time again; when all have, the round is over.
class Rounds {
  public:
    Rounds(System* system, const Freedom& freedom, const std::vector<Joint>& rests);
    /// Leave-all times from a rest until all is as declared, and stays so; none: it may never be.
    std::optional<u32> of(const Joint& rest);
    std::size_t states() const { return found_.size(); }

  private:
    void explore(const Freedom& freedom);
    std::vector<u32> good() const;

    System* system_;
    Found found_;
    Course course_;
    std::vector<bool> rests_;
    std::vector<u32> rounds_;
    std::vector<u32> open_;
};

Rounds::Rounds(System* system, const Freedom& freedom, const std::vector<Joint>& rests)
    : system_(system), found_(*system) {
    for (const Joint& rest : rests)
        found_.add(rest, static_cast<u32>(found_.size()), {});
    explore(freedom);
    rounds_.assign(found_.size(), 0);
    // A rest that is not as declared takes the round that it is in.
    const std::vector<u32> settled = good();
    for (u32 at = 0; at < found_.size(); ++at)
        rounds_[at] = rests_[at] ? 1 : 0;
    for (const u32 at : settled)
        rounds_[at] = 0;
    settle(course_, settled, &open_, [this](u32 from, u32 to, bool) {
        // A round that begins anew is one more.
        const bool over = rests_[to] && rounds_[to] != 0 && found_[to].leaveAlls == 0;
        rounds_[from] = std::max(rounds_[from], rounds_[to] + (over ? 1U : 0U));
    });
}

void Rounds::explore(const Freedom& freedom) {
    Freedom only;
    only.leaveAlls = true;
    only.disturbances = freedom.disturbances;
    only.acts = freedom.acts;
    only.countsLeaveAlls = freedom.countsLeaveAlls;
    only.transit = freedom.transit;
    only.rounds = true;
    for (u32 at = 0; at < found_.size(); ++at) {
        const Joint here = found_[at];
        rests_.push_back(system_->atRest(here));
        course_.begin.push_back(static_cast<u32>(course_.next.size()));
        system_->moves(here, only, [&](const Joint& next, const Move& move, const Joint&) {
            course_.next.push_back(found_.add(next, at, move).first);
        });
    }
    course_.begin.push_back(static_cast<u32>(course_.next.size()));
}

/// The states from which every rest is as declared for ever.
std::vector<u32> Rounds::good() const {
    const Course back = reversed(course_);
    std::vector<bool> bad(found_.size(), false);
    std::vector<u32> open;
    for (u32 at = 0; at < found_.size(); ++at)
        if (rests_[at] && !system_->disagreement(found_[at]).empty()) {
            bad[at] = true;
            open.push_back(at);
        }
    while (!open.empty()) {
        const u32 at = open.back();
        open.pop_back();
        for (u32 i = back.begin[at]; i < back.begin[at + 1]; ++i)
            if (!bad[back.next[i]]) {
                bad[back.next[i]] = true;
                open.push_back(back.next[i]);
            }
    }
    std::vector<u32> good;
    for (u32 at = 0; at < found_.size(); ++at)
        if (!bad[at])
            good.push_back(at);
    return good;
}

std::optional<u32> Rounds::of(const Joint& rest) {
    const u32 at = found_.numberOf(rest);
    if (open_[at] != 0)
        return std::nullopt;
    return rounds_[at];
}

/// Explores all states of the system with frames lost, and finds when each comes to rest.
/// @return the states at rest, by number
std::vector<u32> exploreLossy(System* system, const Freedom& freedom, const Limits& limits,
                              Found* found, Report* report) {
    Course course;
    std::vector<u32> rests;
    found->add(system->initial(), 0, {});
    for (u32 at = 0; at < found->size(); ++at) {
        if (found->size() > limits.states) {
            report->whole = false;
            return rests;
        }
        const Joint here = (*found)[at];
        const bool rest = system->atRest(here);
        if (rest)
            rests.push_back(at);
        course.begin.push_back(static_cast<u32>(course.next.size()));
        system->moves(here, freedom, [&](const Joint& next, const Move& move, const Joint&) {
            ++report->transitions;
            const u32 number = found->add(next, at, move).first;
            if (move.kind == Kindred::Protocol)
                course.next.push_back(number | (move.step == Step::Tick ? kByTick : 0));
        });
        if (!rest && course.begin.back() == course.next.size())
            complain(report, *system, *found, at, "nothing can happen");
    }
    course.begin.push_back(static_cast<u32>(course.next.size()));
    u32 endless = 0;
    const std::optional<u32> ticks = longest(course, &endless);
    if (ticks.has_value())
        report->longestMs = *ticks * kTickMs;
    else
        complain(report, *system, *found, endless, "never comes to rest by itself");
    return rests;
}

}  // namespace

Report exploreHealed(System* system, const Freedom& freedom, const Limits& limits) {
    Report report;
    Found found(*system);
    const std::vector<u32> rests = exploreLossy(system, freedom, limits, &found, &report);
    report.states = found.size();
    report.rests = rests.size();
    if (!report.whole)
        return report;
    std::vector<Joint> begins;
    begins.reserve(rests.size());
    for (const u32 at : rests) {
        begins.push_back(found[at]);
        begins.back().leaveAlls = 0;
    }
    Rounds rounds(system, freedom, begins);
    report.roundStates = rounds.states();
    for (std::size_t i = 0; i < rests.size(); ++i) {
        const std::optional<u32> most = rounds.of(begins[i]);
        report.mostRounds = std::max(report.mostRounds, most.value_or(0));
        if (!most.has_value())
            complain(&report, *system, found, rests[i],
                     "at rest, and not for certain ever to be mended, " +
                         system->disagreement(begins[i]));
    }
    return report;
}

}  // namespace exhaustive
