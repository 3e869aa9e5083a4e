// SPDX-License-Identifier: MIT
//
// Reception by itself: a PDU of VLANs that are all registered, on a switch with one port, so that
// nothing is propagated or sent. Limit: one look at all that decides, at the speed of memory: the
// packed bytes, the machines, the flags, and which VLANs are static.
#include <algorithm>
#include <cstring>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "daemon/db/port_vlan.h"

namespace {

/// All words of some bytes, added up.
u64 lookAt(const void* bytes, size_t length) {
    u64 sum = 0;
    const auto* at = static_cast<const u8*>(bytes);
    for (size_t i = 0; i + sizeof(sum) <= length; i += sizeof(sum)) {
        u64 word = 0;
        std::memcpy(&word, at + i, sizeof(word));
        sum += word;
    }
    return sum;
}

void receive(benchmark::State& state, const std::vector<u32>& vids) {
    bench::BenchSwitch bridge(1);
    const std::vector<u8> pdu = bench::mvrpJoinPdu(vids);
    for (int i = 0; i < 4; ++i) {
        bridge.receive(1, pdu);
        bridge.applyPending();
    }
    const MvrpPortEntry* port = bench::BenchSwitch::port(1);
    const MvrpVlanBitmap fixed = {};

    bench::Pair pair;
    pair.units = static_cast<double>(vids.size());
    pair.work = [&] { bridge.receive(1, pdu); };
    pair.limit = [&] {
        benchmark::DoNotOptimize(
            lookAt(pdu.data(), pdu.size()) + lookAt(port->madMachine, vids.size()) +
            lookAt(port->vlanFlag, vids.size()) + lookAt(fixed.data(), fixed.size()));
        benchmark::ClobberMemory();
    };
    bench::measure(state, pair);
}

void receiveRun(benchmark::State& state) {
    receive(state, bench::vlansFrom(1, static_cast<u32>(state.range(0))));
}
void receiveScattered(benchmark::State& state) {
    receive(state, bench::vlansFrom(3, 279, 14));
}

/// The first time: each VLAN becomes registered, and is queued for the switch.
void receiveNew(benchmark::State& state) {
    bench::BenchSwitch bridge(1);
    const std::vector<u32> vids = bench::vlansFrom(2, static_cast<u32>(state.range(0)));
    const std::vector<u8> pdu = bench::mvrpJoinPdu(vids);
    MvrpPortEntry* port = bench::BenchSwitch::port(1);
    bench::Pair pair;
    pair.units = static_cast<double>(vids.size());
    pair.prepareWork = [&] {
        mvrpPortVlanEntriesDel(1);
        std::fill(std::begin(port->madMachine), std::end(port->madMachine), u8{0});
        std::fill(std::begin(port->vlanFlag), std::end(port->vlanFlag), u8{0});
    };
    pair.work = [&] { bridge.receive(1, pdu); };
    pair.limit = [&] {
        benchmark::DoNotOptimize(lookAt(port->madMachine, vids.size()) +
                                 lookAt(port->vlanFlag, vids.size()));
        benchmark::ClobberMemory();
    };
    bench::measure(state, pair);
}

BENCHMARK(receiveRun)->Name("receive")->Arg(9)->Arg(64)->Arg(4094)->UseManualTime();
BENCHMARK(receiveScattered)->Name("receive-scattered")->UseManualTime();
BENCHMARK(receiveNew)->Name("receive-new")->Arg(64)->Arg(4093)->UseManualTime();

}  // namespace
