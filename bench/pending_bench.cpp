// SPDX-License-Identifier: MIT
//
// Pending application: every VLAN of every port is added on the switch, then removed again. Limit:
// every call into the platform that this takes, bare: for each pair whether bytes wait at three
// sockets and its item back into the pool, for each port what it carries and its kind, for each
// batch the switch's own calls.
#include <functional>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "platform/contract/qor_if.h"
#include "platform/contract/qor_socket.h"
#include "platform/contract/qor_vlan.h"
#include "platform/contract/sil.h"
#include "platform/switch/switch_observer.h"

namespace {

using platform::SwitchCall;

struct Call {
    SwitchCall call;
    u32 unit;
    platform::VlanBitmap vlans;
};

/// Remembers the calls that the daemon makes.
class Recorder final : public platform::SwitchObserver {
  public:
    Recorder() { platform::installSwitchObserver(this); }
    ~Recorder() override { platform::installSwitchObserver(nullptr); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    Recorder(Recorder&&) = delete;
    Recorder& operator=(Recorder&&) = delete;
    void switchCalled(SwitchCall call, u32 unit, const platform::VlanBitmap& vlans,
                      bool /*done*/) override {
        calls.push_back({call, unit, vlans});
    }
    std::vector<Call> calls;
};

void repeat(Call* call) {
    QorBuffer vlans = {call->vlans.data(), static_cast<u32>(call->vlans.size())};
    switch (call->call) {
        case SwitchCall::CreateVlans:
            qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::CreateDynamic), &vlans);
            break;
        case SwitchCall::DeleteVlans:
            qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::DeleteDynamic), &vlans);
            break;
        case SwitchCall::AddMembers:
            qorIfSyncApi(call->unit, static_cast<u32>(QorIfAttribute::AddDynamic), &vlans, 0);
            break;
        case SwitchCall::RemoveMembers:
            qorIfSyncApi(call->unit, static_cast<u32>(QorIfAttribute::RemoveDynamic), &vlans, 0);
            break;
        case SwitchCall::Protocol:
            break;
    }
}

/// Makes VLANs 2 to `vlans` + 1 of all ports pending, with this flag byte.
void makePending(u32 ports, u32 vlans, u8 flag) {
    for (u32 unit = 1; unit <= ports; ++unit) {
        MvrpPortEntry* port = bench::BenchSwitch::port(unit);
        for (u32 vid = 2; vid < 2 + vlans; ++vid) {
            port->vlanFlag[vid - 1] = flag;
            mvrpPortVlanEntryEnsure(unit, vid);
        }
    }
}

/// Adds all and removes all. `kept` receives what was asked of the switch.
std::vector<Call> record(u32 ports, u32 vlans, u8 flag) {
    Recorder recorder;
    makePending(ports, vlans, flag);
    bench::BenchSwitch::applyPending();
    return std::move(recorder.calls);
}

/// The items of the pairs, taken from their pool and given back as the daemon does it.
class Items {
  public:
    void take(u32 count) {
        while (items_.size() < count)
            items_.push_back(silMemPoolAlloc(&gMvrpInfo.vlanPool, 0));
    }
    void giveBackOne() {
        silMemPoolFree(&gMvrpInfo.vlanPool, items_.back());
        items_.pop_back();
    }

  private:
    std::vector<void*> items_;
};

/// What each pair asks, and its end.
void finishPair(Items& items) {
    for (const s32 socket : {gMvrpInfo.routeSock, gMvrpInfo.mvrpDataSock, gMvrpInfo.gvrpDataSock}) {
        s32 bytes = 0;
        qor_ioctl(socket, kQorIoctlBytesWaiting, &bytes);
        benchmark::DoNotOptimize(bytes);
    }
    items.giveBackOne();
}

constexpr u8 kAdd = 0x40;
constexpr u8 kRemove = 0xA0;  // applied, and to be removed

/// What the first pair of a port asks.
void askPort(u32 unit) {
    platform::VlanBitmap carried;
    mvrpPortVlansRead(unit, QorIfAttribute::PermittedTagged, &carried);
    QorIndexInfo info = {};
    qorIndexTrans(unit, kIndexTransEndType, &info);
    benchmark::DoNotOptimize(info);
}

/// Everything that the platform is asked and told on the way, in this order of ports, pairs and
/// batches.
void repeatAll(std::vector<Call>& calls, u32 ports, u32 vlans, Items& items) {
    for (u32 unit = 1; unit <= ports; ++unit) {
        askPort(unit);
        for (u32 pair = 0; pair < vlans; ++pair)
            finishPair(items);
    }
    for (Call& call : calls)
        repeat(&call);
}

void pending(benchmark::State& state, u8 flag) {
    const u32 ports = static_cast<u32>(state.range(0));
    const u32 vlans = std::min(static_cast<u32>(state.range(1)), 4093U);
    bench::BenchSwitch bridge(ports);
    std::vector<Call> additions = record(ports, vlans, kAdd);
    std::vector<Call> removals = record(ports, vlans, kRemove);

    // The switch is brought to where the measured turn begins by the other half's calls.
    std::vector<Call>& own = flag == kAdd ? additions : removals;
    std::vector<Call>& other = flag == kAdd ? removals : additions;
    const auto replay = [](std::vector<Call>& calls) {
        for (Call& call : calls)
            repeat(&call);
    };
    bench::Pair pair;
    pair.units = static_cast<double>(ports) * vlans;
    pair.prepareWork = [&] {
        replay(other);
        makePending(ports, vlans, flag);
    };
    pair.work = [] { bench::BenchSwitch::applyPending(); };
    Items items;
    pair.prepareLimit = [&] {
        replay(other);
        items.take(ports * vlans);
    };
    pair.limit = [&] { repeatAll(own, ports, vlans, items); };
    if (flag == kRemove)
        replay(additions);
    bench::measure(state, pair);
    state.counters["calls"] = static_cast<double>(own.size());
}

// A removal looks at every port, so more VLANs on larger switches than this take minutes.
BENCHMARK_CAPTURE(pending, add, kAdd)
    ->Name("pending-add")
    ->ArgsProduct({{6, 24, 48}, {64, 1024, 4094}})
    ->Args({192, 4094})
    ->Args({768, 64})
    ->Args({768, 1024})
    ->UseManualTime();
BENCHMARK_CAPTURE(pending, remove, kRemove)
    ->Name("pending-remove")
    ->ArgsProduct({{6, 24, 48}, {64, 1024, 4094}})
    ->Args({768, 64})
    ->UseManualTime();

}  // namespace
