// SPDX-License-Identifier: MIT
//
// A figure and its limit: the work of the daemon, and the least that has to be done for the same
// result, measured by turns in one run so that what disturbs the machine disturbs both. Of all
// turns the shortest counts: nothing makes code faster than it is.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>

namespace bench {

struct Pair {
    std::function<void()> work;
    std::function<void()> limit;
    /// Before each turn of either, not measured; empty when a turn leaves nothing behind.
    std::function<void()> prepareWork;
    std::function<void()> prepareLimit;
    /// What a turn does, for costs by the piece.
    double units = 1;
};

/// Measures both by turns. Counters of the result: work_ns and limit_ns per unit, their ratio,
/// units.
void measure(benchmark::State& state, const Pair& pair);

}  // namespace bench
