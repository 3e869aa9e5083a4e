// SPDX-License-Identifier: MIT
//
// Encoding: all that a port declares, in as many PDUs as it takes. Limit: one pass over the
// machines, which tell what is declared, and one store for each vector, of 8 bytes at a time.
#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <random>
#include <vector>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "bench/passes.h"
#include "daemon/fsm/machine.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/send.h"
#include "daemon/pdu/vector.h"

namespace {

/// Where the first vector of a frame begins: behind the Ethernet, LLC and SNAP headers, protocol
/// version, type and length of the attribute.
constexpr size_t kFirstVectorAt = kMvrpEthernetHeaderBytes + 8 + 3;
/// What one store writes.
constexpr u32 kStoreBytes = 8;

/// @return the length in bytes of each vector of a frame
std::vector<u32> vectorsOf(const std::vector<u8>& frame) {
    std::vector<u32> lengths;
    size_t at = kFirstVectorAt;
    while (at + kMvrpVectorHeaderBytes <= frame.size() &&
           mvrpReadBe16(&frame[at]) != kMvrpEndMark) {
        const u32 count = mvrpReadBe16(&frame[at]) & kMvrpValueCountMask;
        lengths.push_back(kMvrpVectorHeaderBytes + mvrpPackedBytes(count));
        at += lengths.back();
    }
    return lengths;
}

/// Writes vectors of these lengths, whatever is in them, one behind the other.
void storeVectors(const std::vector<u32>& lengths, u8* at) {
    constexpr std::array<u8, kStoreBytes> kVector = {0, 1, 0, 1, 36};
    for (const u32 length : lengths) {
        for (u32 done = 0; done < length; done += kStoreBytes)
            std::memcpy(at + done, kVector.data(), kStoreBytes);
        at += length;
    }
}

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
    std::vector<u32> vectors;
    for (const std::vector<u8>& frame : frames) {
        bytes += frame.size();
        std::ranges::copy(vectorsOf(frame), std::back_inserter(vectors));
    }
    std::vector<u8> stored(bytes + kStoreBytes);

    bench::Pair pair;
    pair.units = static_cast<double>(bytes);
    pair.work = [&] {
        port->mtu ^= 1;  // else what was sent before is sent again, and nothing is encoded
        mvrpPortSendPkt(port);
    };
    pair.limit = [&] {
        benchmark::DoNotOptimize(bench::passReading(port->madMachine));
        storeVectors(vectors, stored.data());
        benchmark::ClobberMemory();
    };
    bench::measure(state, pair);
    state.counters["frames"] = static_cast<double>(frames.size());
    state.counters["vectors"] = static_cast<double>(vectors.size());
}

BENCHMARK_CAPTURE(declare, contiguous, kContiguous)->Name("declare/contiguous")->UseManualTime();
BENCHMARK_CAPTURE(declare, alternating, kAlternating)->Name("declare/alternating")->UseManualTime();
BENCHMARK_CAPTURE(declare, random, kRandom)->Name("declare/random")->UseManualTime();

}  // namespace
