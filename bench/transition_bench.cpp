// SPDX-License-Identifier: MIT
//
// One event on the machines of all VLANs of a port. Limit: a pass over the same bytes in place, in
// vectors, that changes each.
#include <array>
#include <random>

#include "bench/pair.h"
#include "bench/passes.h"
#include "daemon/fsm/machines.h"

namespace {

using Machines = std::array<u8, kMvrpVlanCount>;

void transition(benchmark::State& state) {
    constexpr MvrpByteMap kEvent = kMvrpActiveEventMap<MVRP_EVENT_R_LA, MVRP_PROTOCOL_MVRP>;
    Machines machines;
    std::mt19937 random(1);
    for (u8& machine : machines)
        machine = static_cast<u8>(random() % (kMvrpHalfEnd << 4U));
    Machines same = machines;
    bench::Pair pair;
    pair.units = kMvrpVlanCount;
    pair.work = [&] { gMvrpBytes.apply(machines, kEvent); };
    pair.limit = [&] { bench::passInPlace(same); };
    bench::measure(state, pair);
}
BENCHMARK(transition)->Name("transition")->UseManualTime();

}  // namespace
