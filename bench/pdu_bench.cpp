// SPDX-License-Identifier: MIT
//
// Reception of a PDU whose VLANs are all registered: the steady state. Limit: what the daemon can
// not do without, made bare: one pass in vectors over the machines of all ports, and the same
// frames handed to the socket. What the switch has to say about the VLANs it shows in place.
#include <memory>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "bench/passes.h"
#include "daemon/pdu/frame.h"

namespace {

constexpr u32 kSource = 1;

struct Shape {
    bool gvrp;
    std::vector<u32> vids;
};

/// Sends the frames that the switch kept, without making them.
void sendAgain(const std::vector<std::vector<u8>>& frames, s32 socket, u32 firstUnit) {
    u32 unit = firstUnit;
    for (const std::vector<u8>& frame : frames)
        mvrpFrameSend(socket, bench::BenchSwitch::port(unit++), 0, frame, {});
}

void decode(benchmark::State& state, const Shape& shape) {
    const u32 ports = static_cast<u32>(state.range(0));
    bench::BenchSwitch bridge(ports, shape.gvrp);
    const std::vector<u8> pdu =
        shape.gvrp ? bench::gvrpJoinPdu(shape.vids) : bench::mvrpJoinPdu(shape.vids);
    for (int i = 0; i < 4; ++i) {
        bridge.receive(kSource, pdu);
        bridge.applyPending();
    }
    bridge.sink.keeps = true;
    bridge.receive(kSource, pdu);
    bridge.sink.keeps = false;
    const std::vector<std::vector<u8>> frames = bridge.sink.kept;
    std::vector<u8> machines(size_t{ports} * kMvrpVlanCount);

    bench::Pair pair;
    pair.units = static_cast<double>(ports) * static_cast<double>(shape.vids.size());
    pair.work = [&] { bridge.receive(kSource, pdu); };
    pair.limit = [&] {
        bench::passInPlace(machines);
        sendAgain(frames, shape.gvrp ? gMvrpInfo.gvrpDataSock : gMvrpInfo.mvrpDataSock, kSource);
    };
    bench::measure(state, pair);
    state.counters["frames"] = static_cast<double>(frames.size());
    state.counters["pdu_bytes"] = static_cast<double>(pdu.size());
}

void decodeFull(benchmark::State& state) {
    decode(state, {false, bench::vlansFrom(1, static_cast<u32>(state.range(1)))});
}

/// 1400 bytes: vectors of one VLAN each, in MVRP; an attribute each, in GVRP.
void decodeScattered(benchmark::State& state) {
    decode(state, {false, bench::vlansFrom(3, 279, 14)});
}
void decodeGvrp(benchmark::State& state) {
    decode(state, {true, bench::vlansFrom(3, 348, 11)});
}

BENCHMARK(decodeFull)
    ->Name("decode")
    ->ArgsProduct({{6, 8, 48, 256, 768}, {4094}})
    ->ArgsProduct({{6, 48, 768}, {64, 1024}})
    ->UseManualTime();
BENCHMARK(decodeScattered)->Name("decode-scattered")->Arg(8)->Arg(48)->Arg(256)->UseManualTime();
BENCHMARK(decodeGvrp)->Name("decode-gvrp")->Arg(8)->Arg(48)->Arg(256)->UseManualTime();

}  // namespace
