// SPDX-License-Identifier: MIT
//
// What the daemon and the host ask of the driver; linux_look.cpp is what the kernel tells it, and
// linux_settle.cpp how the kernel is brought to what is wanted.
#include "platform/linux/linux_switch.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/model/vlan_algebra.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {

namespace {

/// At boot others may hold the kernel's lock for long: half a minute is less than what a service
/// manager allows for a start.
constexpr u32 kStartTries = 300;
constexpr std::chrono::milliseconds kStartPause{100};
constexpr u32 kEthernetMtu = 1500;  ///< bytes

}  // namespace

LinuxSwitch::LinuxSwitch(Kernel& kernel, LinuxBridgeConfig config, std::string ledgerPath)
    : StateSwitch(SwitchState(), false),
      kernel_(kernel),
      ledgerPath_(std::move(ledgerPath)),
      nowMs_(monotonicMs),
      config_(std::move(config)) {}

bool LinuxSwitch::start(std::string& error) {
    const std::lock_guard serial(changeMutex_);
    BridgeBook first;
    std::vector<KernelLink> links;
    KernelResult result;
    for (u32 left = kStartTries; !readKernel(first, links, result); left--) {
        if (result.error == ETIMEDOUT && left > 1) {
            std::this_thread::sleep_for(kStartPause);
            continue;
        }
        error = "the bridge can not be read: " + result.what;
        return false;
    }
    if (!ledger_.open(ledgerPath_, currentScope(config_.bridge, first.bridge.index), error))
        return false;
    if (first.bridge.index == 0)
        logMessage(LogPriority::Warning,
                   "there is no bridge %s yet: it is taken when it comes; to make it: ip link add "
                   "%s type bridge vlan_filtering 1",
                   config_.bridge.c_str(), config_.bridge.c_str());
    reportBridge(first);
    book_ = std::move(first);
    adoptLedger();
    const std::lock_guard lock(mutex_);
    RouteBatch unheard;  // the daemon has not started
    replaceState(adoptedState(), unheard);
    return true;
}

std::string LinuxSwitch::awaited() const {
    switch (bridgeState_) {
        case BridgeState::Missing:
            return config_.bridge;
        case BridgeState::NotVlanAware:
            return config_.bridge + " to be VLAN-aware";
        case BridgeState::MultipleTrees:
            return config_.bridge + " to have one spanning tree";
        case BridgeState::Usable:
            break;
    }
    return {};
}

void LinuxSwitch::adoptLedger() {
    for (BridgePort& port : book_.ports) {
        for (const LedgerRecord& record : ledger_.found())
            if (record.index == port.link.index && record.name == port.link.name)
                port.added = vlanIntersection(record.added, port.carried);
        port.added = vlanDifference(port.added, port.takenOver());
        welcomePort(port);
    }
    for (const LedgerRecord& record : ledger_.found())
        if (book_.find(record.index) == nullptr)
            ledger_.forget(record.index);
    staticVlans_ = book_.staticVlans(config_.vlanOne);
}

SwitchState LinuxSwitch::adoptedState() {
    SwitchState state = stateOf(book_, {});
    for (const BridgePort& port : book_.ports) {
        state.find(port.link.index)->dynamic = port.added;
        vlanForEach(vlanDifference(port.added, staticVlans_), [&state](u32 vid) {
            state.kinds[vid] = static_cast<u8>(QorVlanType::Dynamic);
        });
    }
    return state;
}

void LinuxSwitch::reconfigure(const LinuxBridgeConfig& config) {
    const std::lock_guard serial(changeMutex_);
    config_.follow(config);
    if (!stopped_)
        look({});
}

std::vector<LinuxPortFacts> LinuxSwitch::ports() const {
    const std::lock_guard serial(changeMutex_);
    std::vector<LinuxPortFacts> list;
    for (const BridgePort& port : book_.ports)
        list.push_back({port.link.index, port.link.name, port.generation});
    return list;
}

void LinuxSwitch::stop(Ending ending) {
    const std::lock_guard serial(changeMutex_);
    if (std::exchange(stopped_, true))
        return;
    if (config_.onStop == OnStop::Remove && ending == Ending::Stop)
        for (BridgePort& port : book_.ports) {
            removeEntries(port, port.added);
            if (port.guard)
                kernel_.setGuard(port.link.index, false);
        }
    ledger_.close();
}

bool LinuxSwitch::portState(u32 unit, PortState& state) const {
    if (!StateSwitch::portState(unit, state))
        return false;
    state.mtu = std::max(state.mtu, kEthernetMtu);
    return true;
}

bool LinuxSwitch::setProtocol(u32 unit, u32 protocol, bool enabled) {
    const std::lock_guard serial(changeMutex_);
    if (!StateSwitch::setProtocol(unit, protocol, enabled))
        return false;
    BridgePort* port = book_.find(unit);
    if (stopped_ || port == nullptr)
        return true;
    // Whether the port takes part does not depend on its static VLANs: they are tried again.
    if (config_.guard == GuardedPorts::All)
        settleGuards();
    else
        settleGuard(*port);
    if (!enabled)
        port->lingering.clear();
    if (!settle(*port))
        setUnfinished();
    return true;
}

/// Changes the memory, then the kernel; when that refuses, both are put back. No answer is no
/// refusal. That something else
/// of the port could not be settled is no reason to refuse.
/// @param change  of the memory
/// @param isDone  whether the port has, after a failure, what was asked for
template <typename Change, typename IsDone>
bool LinuxSwitch::changeMemberships(u32 unit, Change change, IsDone isDone) {
    const std::lock_guard serial(changeMutex_);
    BridgePort* port = book_.find(unit);
    const Memberships before = membershipsOf(unit);
    if (!change())
        return false;
    if (stopped_ || port == nullptr || settle(*port))
        return true;
    setUnfinished();
    if (unanswered_ || isDone(*port))
        return true;
    {
        const std::lock_guard lock(mutex_);
        SwitchPort& own = *state_.find(unit);
        own.dynamic = before.dynamic;
        own.adopted = before.adopted;
    }
    settle(*port);
    return false;
}

void LinuxSwitch::setMvrpOn(bool on) {
    const std::lock_guard serial(changeMutex_);
    mvrpOn_ = on;
    if (!stopped_)
        settleGuards();
}

bool LinuxSwitch::addDynamic(u32 unit, const VlanBitmap& vlans) {
    const bool done = changeMemberships(
        unit, [&] { return StateSwitch::addDynamic(unit, vlans); },
        [&](const BridgePort& port) { return vlanIsEmpty(vlanDifference(vlans, port.carried)); });
    const std::lock_guard serial(changeMutex_);
    // What a neighbour declared in time is there for that from now on.
    if (BridgePort* port = done ? book_.find(unit) : nullptr)
        for (Lingering& entry : port->lingering)
            entry.vlans = vlanDifference(entry.vlans, vlans);
    return done;
}

bool LinuxSwitch::removeDynamic(u32 unit, const VlanBitmap& vlans) {
    return changeMemberships(
        unit, [&] { return StateSwitch::removeDynamic(unit, vlans); },
        [&](const BridgePort& port) {
            return vlanIsEmpty(vlanDifference(port.added, wantedOf(port)));
        });
}

LinuxSwitch::Memberships LinuxSwitch::membershipsOf(u32 unit) const {
    const std::lock_guard lock(mutex_);
    const SwitchPort* port = state_.find(unit);
    return port == nullptr ? Memberships{} : Memberships{port->dynamic, port->adopted};
}

u32 LinuxSwitch::removeUnclaimed() {
    {
        const std::lock_guard serial(changeMutex_);
        adopting_ = false;
    }
    return StateSwitch::removeUnclaimed();
}

void LinuxSwitch::stateChanged() {
    if (!stopped_)
        settleAll();
}

}  // namespace platform
