// SPDX-License-Identifier: MIT
//
// What corrections cost: the same reception with all of them on, and with none in the place of the
// limit, by turns.
#include <cstring>
#include <vector>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/states.h"
#include "daemon/timers/protocol_timers.h"

namespace {

constexpr u32 kSource = 1;

CorrectionSet allBut(Correction which) {
    return CorrectionSet::ofBits(CorrectionSet::all().bits() & ~(1U << static_cast<u32>(which)));
}

/// A PDU whose VLANs are all registered and declared: nothing changes by it.
void unchanged(benchmark::State& state, CorrectionSet corrections) {
    const u32 ports = static_cast<u32>(state.range(0));
    bench::BenchSwitch bridge(ports);
    const std::vector<u8> pdu =
        bench::mvrpJoinPdu(bench::vlansFrom(1, static_cast<u32>(state.range(1))));
    for (int i = 0; i < 4; ++i) {
        bridge.receive(kSource, pdu);
        bridge.applyPending();
    }
    const auto receive = [&](CorrectionSet set) {
        gMvrpInfo.corrections = set;
        bridge.receive(kSource, pdu);
    };
    bench::Pair pair;
    pair.units = static_cast<double>(ports) * static_cast<double>(state.range(1));
    pair.work = [&] { receive(corrections); };
    pair.limit = [&] { receive({}); };
    bench::measure(state, pair);
}

void unchangedAll(benchmark::State& state) {
    unchanged(state, CorrectionSet::all());
}

/// Without the one that saves the sending, so that what the others add is seen.
void unchangedSending(benchmark::State& state) {
    unchanged(state, allBut(Correction::SendOnChange));
}

/// A PDU that registers its VLANs, and has all other ports declare them.
void registered(benchmark::State& state) {
    const u32 ports = static_cast<u32>(state.range(0));
    bench::BenchSwitch bridge(ports);
    const std::vector<u8> pdu =
        bench::mvrpJoinPdu(bench::vlansFrom(2, static_cast<u32>(state.range(1))));
    const auto forget = [&](CorrectionSet set) {
        gMvrpInfo.corrections = set;
        for (u32 unit = 1; unit <= ports; ++unit) {
            MvrpPortEntry* port = bridge.port(unit);
            std::memset(port->madMachine, 0, sizeof(port->madMachine));
            std::memset(port->vlanFlag, 0, sizeof(port->vlanFlag));
        }
        mvrpPortVlanEntriesDel(kSource);
        bridge.sink.frames = 0;
    };
    bench::Pair pair;
    pair.units = static_cast<double>(ports) * static_cast<double>(state.range(1));
    pair.prepareWork = [&] { forget(CorrectionSet::all()); };
    pair.work = [&] { bridge.receive(kSource, pdu); };
    pair.prepareLimit = [&] { forget({}); };
    pair.limit = pair.work;
    bench::measure(state, pair);
    state.counters["frames"] = static_cast<double>(bridge.sink.frames);
}

/// A leave timer that withdraws all VLANs of a port, which the other ports declare: each of them
/// may need some of the VLANs for others.
void withdrawn(benchmark::State& state) {
    constexpr u8 kLeaving = u8{APP_STATE_VP << 4U} | u8{REG_STATE_LV << 2U} | 2;
    constexpr u8 kDeclared = u8{APP_STATE_QA << 4U} | u8{REG_STATE_MT << 2U} | 1;
    const u32 ports = static_cast<u32>(state.range(0));
    const u32 vlans = static_cast<u32>(state.range(1));
    bench::BenchSwitch bridge(ports);
    bridge.soft.createDynamic(platform::vlanRange(2, vlans + 1));
    const auto restore = [&](CorrectionSet set) {
        gMvrpInfo.corrections = set;
        for (u32 unit = 1; unit <= ports; ++unit)
            std::memset(bridge.port(unit)->madMachine + 1, unit == kSource ? kLeaving : kDeclared,
                        vlans);
    };
    bench::Pair pair;
    pair.units = static_cast<double>(ports) * vlans;
    pair.prepareWork = [&] { restore(CorrectionSet::all()); };
    pair.work = [&] { mvrpLeaveTimerHandler(bridge.port(kSource)); };
    pair.prepareLimit = [&] { restore({}); };
    pair.limit = pair.work;
    bench::measure(state, pair);
}

BENCHMARK(unchangedAll)->Name("corrected-unchanged")->Args({48, 4094})->UseManualTime();
BENCHMARK(unchangedSending)->Name("corrected-sending")->Args({48, 4094})->UseManualTime();
BENCHMARK(registered)->Name("corrected-register")->Args({48, 4093})->UseManualTime();
BENCHMARK(withdrawn)->Name("corrected-withdrawn")->Args({48, 4093})->UseManualTime();

}  // namespace
