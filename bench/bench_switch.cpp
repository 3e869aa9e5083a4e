// SPDX-License-Identifier: MIT
#include "bench/bench_switch.h"

#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "daemon/core/sockets.h"
#include "daemon/core/start.h"
#include "daemon/core/task.h"
#include "daemon/fsm/machine.h"
#include "daemon/mgmt/config.h"
#include "daemon/pdu/gvrp_format.h"
#include "daemon/pdu/receive.h"
#include "daemon/pdu/vector.h"
#include "daemon/timers/pending.h"
#include "platform/contract/icm.h"
#include "platform/contract/process.h"
#include "platform/contract/sil.h"

// In place of the host's: nothing runs but what the benchmark calls.
u32 silCreateTask(const char*, u32, u32, void (*)(void*), void*, u32, u32* taskId) {
    *taskId = 1;
    return kStatusOk;
}

void procShellInit(const char*, u32, u32) {}

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

void putBe16(std::vector<u8>* out, u32 value) {
    out->push_back(static_cast<u8>(value >> 8U));
    out->push_back(static_cast<u8>(value));
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

std::vector<u8> mvrpJoinPdu(std::span<const u32> vids) {
    constexpr u8 kThreeJoinIns = 36 + 6 + 1;
    std::vector<u8> pdu = {0, 1, 1};
    for (size_t i = 0; i < vids.size();) {
        size_t end = i + 1;
        while (end < vids.size() && vids[end] == vids[end - 1] + 1)
            ++end;
        const u32 count = static_cast<u32>(end - i);
        putBe16(&pdu, count);
        putBe16(&pdu, vids[i]);
        pdu.insert(pdu.end(), mvrpPackedBytes(count), kThreeJoinIns);
        i = end;
    }
    putBe16(&pdu, 0);
    return pdu;
}

std::vector<u8> gvrpJoinPdu(std::span<const u32> vids) {
    std::vector<u8> pdu = {0, 1, 1};
    for (const u32 vid : vids) {
        pdu.push_back(kGvrpVlanAttributeBytes);
        pdu.push_back(GVRP_ATTRIBUTE_JOIN_IN);
        putBe16(&pdu, vid);
    }
    putBe16(&pdu, 0);
    return pdu;
}

std::vector<u32> vlansFrom(u32 first, u32 count, u32 step) {
    std::vector<u32> vids(count);
    for (u32 i = 0; i < count; ++i)
        vids[i] = first + i * step;
    return vids;
}

}  // namespace bench
