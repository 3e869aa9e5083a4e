// SPDX-License-Identifier: MIT
//
// Expiry of the leave timer and of the leave-all timer of a port with so many active VLANs, on a
// switch without other ports, as these cost what sending costs; and of the leave timer where the
// other ports declare what is left, and withdraw it. Limit: a search for a byte that is
// not there over the machines, and for each VLAN that leaves the bare question to the switch; for
// leave-all also the same frames handed to the socket.
#include <algorithm>
#include <cstring>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "daemon/db/platform_query.h"
#include "daemon/fsm/machine.h"
#include "daemon/pdu/frame.h"
#include "daemon/timers/protocol_timers.h"

namespace {

constexpr u8 kLeaving = u8{APP_STATE_VP << 4U} | u8{REG_STATE_LV << 2U} | 2;
constexpr u8 kDeclared = u8{APP_STATE_QA << 4U} | u8{REG_STATE_MT << 2U} | 2;
constexpr u8 kRegistered = u8{APP_STATE_QA << 4U} | u8{REG_STATE_IN << 2U} | 2;

/// Machines of a port: VLAN 1 fixed, as on each enabled port, and `active` VLANs spread evenly.
std::vector<u8> machinesWith(const MvrpPortEntry* port, u32 active, u8 machine) {
    std::vector<u8> machines(kMvrpVlanCount);
    for (u32 i = 0; i < active; ++i)
        machines[1 + size_t{i} * (kMvrpVlanCount - 2) / active] = machine;
    machines[0] = port->madMachine[0];
    return machines;
}

void search(std::span<const u8> machines) {
    constexpr int kAbsent = 0xFE;
    benchmark::DoNotOptimize(std::memchr(machines.data(), kAbsent, machines.size()));
}

void leaveExpiry(benchmark::State& state) {
    const u32 active = static_cast<u32>(state.range(0));
    bench::BenchSwitch bridge(1);
    MvrpPortEntry* port = bridge.port(1);
    const std::vector<u8> machines = machinesWith(port, active, kLeaving);
    const auto restore = [&] { std::copy(machines.begin(), machines.end(), port->madMachine); };
    restore();

    bench::Pair pair;
    if (active != 0)
        pair.prepareWork = restore;
    pair.work = [&] { mvrpLeaveTimerHandler(port); };
    pair.limit = [&] {
        search(machines);
        for (u32 i = 0; i < active; ++i)
            benchmark::DoNotOptimize(mvrpVlanType(2 + i));
    };
    bench::measure(state, pair);
}
BENCHMARK(leaveExpiry)->Name("leave-expiry")->Arg(0)->Arg(100)->Arg(4093)->UseManualTime();

void leaveWithdrawn(benchmark::State& state) {
    const u32 ports = static_cast<u32>(state.range(0));
    const u32 active = static_cast<u32>(state.range(1));
    bench::BenchSwitch bridge(ports);
    const std::vector<u8> leaving = machinesWith(bridge.port(1), active, kLeaving);
    const std::vector<u8> declared = machinesWith(bridge.port(1), active, kDeclared);
    std::vector<MvrpPortEntry*> entries;
    for (u32 unit = 1; unit <= ports; ++unit)
        entries.push_back(bridge.port(unit));
    const auto restore = [&] {
        for (MvrpPortEntry* port : entries)
            std::ranges::copy(port == entries[0] ? leaving : declared, port->madMachine);
    };

    bench::Pair pair;
    pair.units = static_cast<double>(ports) * active;
    pair.prepareWork = restore;
    pair.work = [&] { mvrpLeaveTimerHandler(entries[0]); };
    pair.limit = [&] {
        // Where the ports' own machines lie: many ports are more than the nearest caches hold.
        for (const MvrpPortEntry* port : entries)
            search(std::span(port->madMachine).first(kMvrpVlanCount));
        for (u32 i = 0; i < active; ++i)
            benchmark::DoNotOptimize(mvrpVlanType(2 + i));
    };
    bench::measure(state, pair);
}
BENCHMARK(leaveWithdrawn)
    ->Name("leave-withdrawn")
    ->ArgsProduct({{6, 48, 768}, {64, 1024, 4093}})
    ->UseManualTime();

void leaveallExpiry(benchmark::State& state) {
    const u32 active = static_cast<u32>(state.range(0));
    bench::BenchSwitch bridge(1);
    MvrpPortEntry* port = bridge.port(1);
    const std::vector<u8> machines = machinesWith(port, active, kRegistered);
    const auto restore = [&] { std::copy(machines.begin(), machines.end(), port->madMachine); };
    restore();
    bridge.sink.keeps = true;
    mvrpLeaveallTimerHandler(port);
    bridge.sink.keeps = false;
    const std::vector<std::vector<u8>> frames = bridge.sink.kept;

    bench::Pair pair;
    if (active != 0)
        pair.prepareWork = restore;
    pair.work = [&] { mvrpLeaveallTimerHandler(port); };
    pair.limit = [&] {
        search(machines);
        for (const std::vector<u8>& frame : frames)
            mvrpFrameSend(gMvrpInfo.mvrpDataSock, port, 0, frame, {});
    };
    bench::measure(state, pair);
    state.counters["frames"] = static_cast<double>(frames.size());
}
BENCHMARK(leaveallExpiry)->Name("leaveall-expiry")->Arg(0)->Arg(100)->Arg(4093)->UseManualTime();

}  // namespace
