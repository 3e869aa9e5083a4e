// SPDX-License-Identifier: MIT
#include "bench/bench_switch.h"

#include <cstdio>
#include <cstdlib>

#include "daemon/core/sockets.h"
#include "daemon/core/start.h"
#include "daemon/core/task.h"
#include "daemon/fsm/machine.h"
#include "daemon/mgmt/config.h"
#include "daemon/pdu/receive.h"
#include "daemon/timers/pending.h"
#include "platform/contract/corrections.h"
#include "platform/contract/icm.h"
#include "platform/contract/process.h"
#include "platform/contract/sil.h"

// In place of the host's: nothing runs but what the benchmark calls.
u32 silCreateTask(const char*, u32, u32, void (*)(void*), void*, u32, u32* taskId) {
    *taskId = 1;
    return kStatusOk;
}

void procShellInit(const char*, u32, u32) {}

CorrectionSet correctionsWanted() {
    return {};
}

void correctionActed(Correction, u32, u32) {}

u32 icmProcTcpInit(const char*, const char*, const IcmFunc*, u32) {
    return kStatusOk;
}

namespace bench {
namespace {

constexpr u32 kVlanNumPerTimes = 50;
constexpr u32 kVlanNumPerTimesAgg = 20;

platform::SwitchConfig trunks(u32 ports) {
    platform::SwitchConfig config;
    for (u32 unit = 1; unit <= ports; ++unit) {
        platform::PortConfig port;
        port.unit = unit;
        port.name = "port" + std::to_string(unit);
        port.mac = {2, 0, 0, 0, static_cast<u8>(unit >> 8U), static_cast<u8>(unit)};
        port.permitTagged = platform::vlanRange(2, platform::kLastVlan);
        port.permitUntagged = platform::vlanRange(1, 1);
        config.ports.push_back(port);
    }
    config.staticVlans = platform::vlanRange(1, 1);
    return config;
}

void must(u32 status, const char* what) {
    if (status == kStatusOk)
        return;
    std::fprintf(stderr, "mvrp-bench: %s: status %#x\n", what, status);
    std::abort();
}

void setScalar(u32 attribute, u32 value) {
    must(mvrpScalarSetApi(0, attribute, &value), "scalar");
}

}  // namespace

int FrameSink::transmit(u32 /*unit*/, std::span<const u8> frame) {
    ++frames;
    bytes += frame.size();
    if (keeps)
        kept.emplace_back(frame.begin(), frame.end());
    return 0;
}

BenchSwitch::BenchSwitch(u32 ports, bool gvrp) : soft(trunks(ports)) {
    platform::installSwitchDriver(&soft);
    platform::installSocketLayer(&sockets);
    sockets.setTransmitter(&sink);
    must(static_cast<u32>(mvrpInit(ports, 4094, kVlanNumPerTimes, kVlanNumPerTimesAgg)), "start");
    setScalar(MVRP_SCALAR_DEBUG, 0);
    setScalar(MVRP_SCALAR_ENABLE, MVRP_ON);
    for (u32 unit = 1; unit <= ports; ++unit) {
        u32 on = MVRP_ON;
        must(mvrpPortSetApi(unit, MVRP_PORT_ENABLE, &on), "port");
    }
    if (gvrp) {
        setScalar(MVRP_SCALAR_GVRP_COMPLIANCE, MVRP_ON);
        for (u32 unit = 1; unit <= ports; ++unit)
            port(unit)->peerMode = 0;
    }
}

BenchSwitch::~BenchSwitch() {
    setScalar(MVRP_SCALAR_ENABLE, MVRP_OFF);
    mvrpSocketsClose();
    silDeleteSem(gMvrpInfo.sem);
    platform::installSocketLayer(nullptr);
    platform::installSwitchDriver(nullptr);
}

MvrpPortEntry* BenchSwitch::port(u32 unit) {
    return mvrpPortEntryGet(unit);
}

void BenchSwitch::receive(u32 unit, std::span<const u8> pdu) {
    mvrpPktProcess(port(unit), pdu.data(), static_cast<s32>(pdu.size()));
}

void BenchSwitch::applyPending() {
    mvrpPendingTimerHandler(nullptr);
}

}  // namespace bench
