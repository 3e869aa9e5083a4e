// SPDX-License-Identifier: MIT
//
// Encoding: all that a port declares, in as many PDUs as it takes. Limit: copying the PDUs.
#include <cstring>
#include <random>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "daemon/fsm/machine.h"
#include "daemon/pdu/send.h"

namespace {

/// VLANs that a port declares: all, every other one, or a random half.
enum Pattern { kContiguous, kAlternating, kRandom };

void declare(benchmark::State& state, Pattern pattern) {
    constexpr u8 kDeclared = u8{APP_STATE_QA << 4U} | u8{REG_STATE_MT << 2U} | 1;
    bench::BenchSwitch bridge(1);
    MvrpPortEntry* port = bridge.port(1);
    std::mt19937 random(1);
    for (u32 vid = 1; vid < kMvrpVlanLast; ++vid) {
        const bool declared = pattern == kContiguous || (pattern == kAlternating && vid % 2 == 0) ||
                              (pattern == kRandom && random() % 2 == 0);
        port->madMachine[vid - 1] = declared ? kDeclared : u8{0};
    }
    bridge.sink.keeps = true;
    mvrpPortSendPkt(port);
    bridge.sink.keeps = false;
    const std::vector<std::vector<u8>> frames = bridge.sink.kept;
    size_t bytes = 0;
    for (const std::vector<u8>& frame : frames)
        bytes += frame.size();
    std::vector<u8> copy(bytes);

    bench::Pair pair;
    pair.units = static_cast<double>(bytes);
    pair.work = [&] {
        port->mtu ^= 1;  // else what was sent before is sent again, and nothing is encoded
        mvrpPortSendPkt(port);
    };
    pair.limit = [&] {
        u8* at = copy.data();
        for (const std::vector<u8>& frame : frames) {
            std::memcpy(at, frame.data(), frame.size());
            at += frame.size();
        }
        benchmark::ClobberMemory();
    };
    bench::measure(state, pair);
    state.counters["frames"] = static_cast<double>(frames.size());
}

BENCHMARK_CAPTURE(declare, contiguous, kContiguous)->Name("declare/contiguous")->UseManualTime();
BENCHMARK_CAPTURE(declare, alternating, kAlternating)->Name("declare/alternating")->UseManualTime();
BENCHMARK_CAPTURE(declare, random, kRandom)->Name("declare/random")->UseManualTime();

}  // namespace
