// SPDX-License-Identifier: MIT
#include "bench/pair.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

/// A turn takes at least this long, so that reading the clock does not count.
constexpr double kLeastTurnNs = 20'000;
constexpr int kMostRepeats = 4096;
/// Turns of each side before those that the time is for, unless they take longer than this.
constexpr int kLeastTurns = 40;
constexpr std::chrono::milliseconds kLongestStart{800};

double nsOf(Clock::duration duration) {
    return std::chrono::duration<double, std::nano>(duration).count();
}

/// One side of a pair: how often a turn repeats it, and its shortest turn so far.
class Side {
  public:
    Side(const std::function<void()>& action, const std::function<void()>& prepare)
        : action_(action), prepare_(prepare) {
        turn();  // warms up, and tells how long it takes
        if (!prepare_)
            repeats_ = std::clamp(static_cast<int>(kLeastTurnNs / best_), 1, kMostRepeats);
        best_ = std::numeric_limits<double>::max();
    }

    /// @return ns of one repetition
    double turn() {
        if (prepare_)
            prepare_();
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < repeats_; ++i)
            action_();
        const double ns = nsOf(Clock::now() - begin) / repeats_;
        best_ = std::min(best_, ns);
        return ns;
    }

    double best() const { return best_; }

  private:
    const std::function<void()>& action_;
    const std::function<void()>& prepare_;
    int repeats_ = 1;
    double best_ = std::numeric_limits<double>::max();
};

}  // namespace

void measure(benchmark::State& state, const Pair& pair) {
    Side work(pair.work, pair.prepareWork);
    Side limit(pair.limit, pair.prepareLimit);
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < kLeastTurns && Clock::now() - begin < kLongestStart; ++i) {
        work.turn();
        limit.turn();
    }
    for ([[maybe_unused]] auto turn : state)
        state.SetIterationTime((work.turn() + limit.turn()) * 1e-9);
    state.counters["work_ns"] = work.best() / pair.units;
    state.counters["limit_ns"] = limit.best() / pair.units;
    state.counters["ratio"] = work.best() / limit.best();
    state.counters["units"] = pair.units;
}

}  // namespace bench
