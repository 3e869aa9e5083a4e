// SPDX-License-Identifier: MIT
#include "network/plan/replica.h"

#include <algorithm>
#include <set>

#include "daemon/db/port.h"
#include "daemon/fsm/machine.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/vlan_algebra.h"
#include "platform/virtual/network/platform_events.h"
#include "platform/virtual/network/port_view.h"

namespace network {

namespace {

using scenario::VlanSet;
using simulation::Node;

constexpr u32 kStrangerUnit = 1;
/// An end that is to hear a LeaveAll has its own so much later.
constexpr u64 kHeardFirstMs = 100;

VlanBitmap bitmapOf(const VlanSet& set) {
    VlanBitmap bitmap{};
    scenario::storeBitmap(set, bitmap);
    return bitmap;
}

bool linkWorks(const Port& port) {
    return port.linkUp && !port.blocked && !port.loop && port.cableError.empty();
}

CorrectionSet correctionsOf(const Switch& each) {
    CorrectionSet set;
    if (each.corrections)
        for (const std::string& name : *each.corrections)
            if (const auto known = correctionOfName(name))
                set.add(*known);
    return set;
}

void makeStatic(scenario::SwitchState& state, const VlanBitmap& vlans) {
    state.vlanTypes.set(kMvrpDefaultVlan, static_cast<u32>(QorVlanType::Static));
    platform::vlanForEach(vlans, [&state](u32 vid) {
        state.vlanTypes.set(vid, static_cast<u32>(QorVlanType::Static));
    });
}

/// What a port with a limit may register: nothing more where it has as many as it may.
VlanSet admittedAt(const Port& port) {
    const VlanSet registered = scenario::vlanSetOf(port.registered);
    const bool full = port.maxVlans != 0 && registered.count() >= port.maxVlans;
    return full ? registered : VlanSet().set();
}

void addPort(Node& node, const Switch& each, const Port& port) {
    scenario::SwitchPort& added = node.host.switchState.addPort(port.number);
    added.name = port.name;
    added.link = linkWorks(port) ? 1 : 0;
    added.pvid = port.pvid;
    added.eligible = port.eligible ? 1 : 0;
    added.aggregation = port.isAggregation ? 1 : 0;
    if (port.mtu != 0)
        added.mtu = port.mtu;
    for (std::size_t i = 0; i < added.mac.size(); ++i)
        added.mac[added.mac.size() - 1 - i] = static_cast<u8>(port.mac >> (8 * i));
    added.permitted = scenario::vlanSetOf(port.permitted);
    added.tagged = scenario::vlanSetOf(port.tagged);
    added.admitted = admittedAt(port);
    node.wanted[port.number] = each.enabled && port.enabled && !port.loop;
}

/// Daemons that started together run their timers together, until each has drifted away.
bool phasesLast(const Switch& each) {
    constexpr u64 kDriftMs = 600'000;
    return each.takenMs > each.uptimeMs && each.uptimeMs != 0 && each.uptimeMs < kDriftMs;
}

u64 startedAt(const Switch& each) {
    return each.takenMs - each.uptimeMs;
}

/// VLANs that a daemon has put ports into.
void setLearnt(scenario::SwitchState& state, scenario::SwitchPort& port, const VlanSet& vlans) {
    state.createDynamicVlans(vlans);
    port.dynamic = vlans;
    port.everDynamic |= vlans;
}

/// Modes of a port whose VLANs a registration mode keeps as they are: it has to learn them first.
bool learnsFirst(const Port& port) {
    return port.registration == Registration::Fixed && !platform::vlanIsEmpty(port.registered);
}

u32 modeOf(Registration registration) {
    return registration == Registration::Fixed ? MVRP_REGISTRATION_FIXED
                                               : MVRP_REGISTRATION_FORBIDDEN;
}

void setModes(const Port& port) {
    const u32 unit = port.number;
    if (port.registration != Registration::Normal && !learnsFirst(port))
        simulation::setPort(unit, MVRP_PORT_REGISTRATION_MODE, modeOf(port.registration));
    if (port.quiet || port.noObserve)
        simulation::setPort(unit, MVRP_PORT_PARTICIPANT_MODE,
                            port.quiet ? MVRP_PARTICIPANT_QUIET : MVRP_PARTICIPANT_NO_OBSERVE);
    if (port.periodicMs && *port.periodicMs != kMvrpPeriodicTime.initial)
        simulation::setPort(unit, MVRP_PORT_PERIOD_TIMEOUT, *port.periodicMs);
}

/// What a snapshot calls registered: a fixed registrar alone is not.
VlanSet registeredAt(const MvrpPortEntry& port) {
    VlanSet set;
    for (u32 vid = kMvrpVlanFirst; vid < kMvrpVlanLast; ++vid)
        set.set(vid, mvrpBitTest(&port.madMachine[vid - 1], MVRP_REG_BIT) != 0);
    return set;
}

/// Ports numbered from 1 on, in the order of the numbers that they have: a daemon sets memory aside
/// for as many as its highest number, and those of interfaces may be large.
Network numberedAnew(Network network) {
    for (Switch& each : network.switches) {
        std::vector<Port*> ports;
        for (Port& port : each.ports)
            ports.push_back(&port);
        std::ranges::stable_sort(ports, {}, [](const Port* port) { return port->number; });
        u32 number = 0;
        for (Port* port : ports)
            port->number = ++number;
    }
    return network;
}

}  // namespace

Replica::Replica(const Network& network, const ReplicaSettings& settings)
    : source_(numberedAnew(network)),
      settings_(settings),
      engine_(settings.seed),
      random_(settings.seed) {
    engine_.setLateness(simulation::kRealLateness);
    for (std::size_t of = 0; of < source_.switches.size(); ++of)
        addSwitch(of);
    addCables();
    std::set<PortAt> inside;
    for (const Cable& cable : source_.cables)
        inside.insert({cable.a, cable.b});
    for (std::size_t of = 0; of < source_.switches.size(); ++of)
        for (std::size_t port = 0; port < source_.switches[of].ports.size(); ++port)
            if (!inside.contains({of, port}))
                addStranger({of, port});
    away_.assign(engine_.nodes().size(), true);
}

void Replica::addSwitch(std::size_t of) {
    const Switch& each = source_.switches[of];
    Node& node = engine_.addNode(correctionsOf(each));
    makeStatic(node.host.switchState, each.staticVlans);
    for (const Port& port : each.ports)
        addPort(node, each, port);
    node.host.options["mvrp.maxifnum"] = std::to_string(each.ports.size() + 1);
    node.compliant = each.gvrp;
    if (!each.enabled)
        problems_.push_back(each.name +
                            ": MVRP is off; frames that cross it are not followed across it");
    if (each.standby)
        problems_.push_back(each.name + ": is a standby, and is taken for a switch of its own");
}

/// A neighbour without a snapshot keeps what was heard of it, with the times of the port.
void Replica::addStranger(PortAt at) {
    const Switch& each = source_.switchOf(at);
    const Port& port = source_.portOf(at);
    const bool heard = std::ranges::any_of(
        port.neighbours, [](const Neighbour& neighbour) { return !neighbour.lost; });
    const VlanBitmap told = platform::vlanDifference(
        platform::vlanUnion(port.heard, port.registered), each.staticVlans);
    if (!talks(each, port) || !linkWorks(port) || (!heard && platform::vlanIsEmpty(told)))
        return;
    Node& node = engine_.addNode(correctionsOf(each));
    makeStatic(node.host.switchState, platform::vlanUnion(port.heard, port.registered));
    Port end = port;
    end.number = kStrangerUnit;
    end.name = "stranger";
    end.permitted = end.tagged = bitmapOf(VlanSet().set());
    end.maxVlans = 0;
    end.pvid = kMvrpDefaultVlan;
    addPort(node, each, end);
    node.host.options["mvrp.maxifnum"] = "2";
    node.compliant = each.gvrp;
    const auto engineCable = static_cast<u32>(engine_.cables().size());
    engine_.addCable({static_cast<u32>(at.of), port.number}, {node.index, kStrangerUnit},
                     settings_.delayMs);
    engine_.cables()[engineCable].up = false;
    wantedUp_.push_back(true);
    strangers_.push_back(at);
}

void Replica::addCables() {
    std::set<PortAt> used;
    for (const Cable& cable : source_.cables) {
        cables_.emplace_back();
        if (!used.insert(cable.a).second || !used.insert(cable.b).second) {
            problems_.push_back(nameOf(source_, cable) +
                                ": a port has one cable in the forecast; this one is left out");
            continue;
        }
        cables_.back() = static_cast<u32>(engine_.cables().size());
        engine_.addCable({static_cast<u32>(cable.a.of), source_.portOf(cable.a).number},
                         {static_cast<u32>(cable.b.of), source_.portOf(cable.b).number},
                         settings_.delayMs);
        engine_.cables().back().up = false;
        wantedUp_.push_back(linkWorks(source_.portOf(cable.a)) &&
                            linkWorks(source_.portOf(cable.b)));
    }
}

void Replica::start() {
    const auto longestMs = static_cast<u32>(longestLeaveAllMs());
    u64 earliestMs = ~u64{0};
    for (const Switch& each : source_.switches)
        if (phasesLast(each))
            earliestMs = std::min(earliestMs, startedAt(each));
    std::vector<Return> starts;
    for (u32 node = 0; node < engine_.nodes().size(); ++node) {
        const bool isKnown = node < source_.switches.size() && phasesLast(source_.switches[node]);
        starts.push_back({isKnown ? (startedAt(source_.switches[node]) - earliestMs) % longestMs
                                  : random_.below(longestMs),
                          node});
    }
    std::ranges::sort(starts, {}, &Return::atMs);
    for (const Return& each : starts) {
        engine_.run(each.atMs - std::min(each.atMs, engine_.nowMs()));
        startNode(each.node);
    }
}

/// A cable carries frames while both ends are there.
bool Replica::mayCarry(std::size_t engineCable) const {
    const simulation::Cable& cable = engine_.cables()[engineCable];
    return wantedUp_[engineCable] && !away_[cable.a.node] && !away_[cable.b.node];
}

void Replica::startNode(u32 index) {
    away_[index] = false;
    plugIn(index, true);
    Node& node = engine_.node(index);
    engine_.act(index, [&] {
        startDaemonOf(node);
        setUp(index);
    });
}

void Replica::plugIn(u32 node, bool in) {
    auto& cables = engine_.cables();
    for (std::size_t i = 0; i < cables.size(); ++i)
        if (cables[i].a.node == node || cables[i].b.node == node)
            cables[i].up = in && mayCarry(i);
}

/// Management of a daemon that has started: what its configuration says.
void Replica::setUp(u32 node) {
    const auto each = [this, node](const Port& port, u32 unit) {
        if (!engine_.node(node).wanted[unit])
            return;
        Port here = port;
        here.number = unit;
        if (simulation::setTimes(unit, {port.joinMs, port.leaveMs, port.leaveAllMs}) != kStatusOk)
            problems_.push_back("the daemon refuses the times of " + port.name);
        if (node < source_.switches.size())
            setModes(here);
    };
    const std::size_t count = source_.switches.size();
    if (node >= count)
        return each(source_.portOf(strangers_[node - count]), kStrangerUnit);
    if (!source_.switches[node].enabled)
        simulation::setScalar(MVRP_SCALAR_ENABLE, MVRP_OFF);
    for (const Port& port : source_.switches[node].ports)
        each(port, port.number);
}

void Replica::settle() {
    for (std::size_t of = 0; of < source_.switches.size(); ++of) {
        auto& state = engine_.node(static_cast<u32>(of)).host.switchState;
        for (const Port& port : source_.switches[of].ports) {
            setLearnt(state, state.ports.at(port.number), scenario::vlanSetOf(port.learnt));
            if (learnsFirst(port))
                engine_.act(static_cast<u32>(of), [&port] {
                    simulation::setPort(port.number, MVRP_PORT_REGISTRATION_MODE,
                                        MVRP_REGISTRATION_FIXED);
                });
        }
    }
}

u64 Replica::leadMs() const {
    constexpr u64 kMarginMs = 2000;
    return longestLeaveAllMs() + kMarginMs;
}

void Replica::setPhases(const Phases& phases, u64 beforeMs) {
    const auto set = [this](u32 node, u32 unit, u64 ms) {
        engine_.act(node, [&] { simulation::setLeaveAllIn(unit, static_cast<u32>(ms)); });
    };
    for (const LeaveAllPhase& phase : phases.ports) {
        // The other end's LeaveAll comes first, and starts the timer anew.
        const u64 ms = beforeMs == 0 ? phase.nextMs
                                     : beforeMs - std::min(phase.lastMs, beforeMs) +
                                           (phase.leads ? 0 : kHeardFirstMs);
        set(static_cast<u32>(phase.at.of), source_.portOf(phase.at).number, ms);
        const auto stranger = std::ranges::find(strangers_, phase.at);
        if (stranger != strangers_.end())
            set(static_cast<u32>(source_.switches.size() +
                                 static_cast<std::size_t>(stranger - strangers_.begin())),
                kStrangerUnit, phase.leads ? ms + kHeardFirstMs : ms - std::min(ms, kHeardFirstMs));
    }
    for (std::size_t of = 0; beforeMs == 0 && of < phases.apply.size(); ++of)
        if (phases.apply[of])
            engine_.act(static_cast<u32>(of),
                        [&] { simulation::setApplyIn(static_cast<u32>(*phases.apply[of])); });
}

void Replica::apply(const Change& change) {
    applyToSettings(source_, change);
    switch (change.kind) {
        case ChangeKind::Cut:
        case ChangeKind::Mend:
            for (const std::size_t cable : change.cables)
                setCable(cable, change.kind == ChangeKind::Mend);
            return;
        case ChangeKind::Restart:
            return goAway(static_cast<u32>(change.of));
        case ChangeKind::Delete:
        case ChangeKind::Add:
            return setVlans(change);
        case ChangeKind::Times:
            for (const PortAt at : change.ports)
                engine_.act(static_cast<u32>(at.of), [&] {
                    simulation::setTimes(
                        source_.portOf(at).number,
                        {change.times.joinMs, change.times.leaveMs, change.times.leaveAllMs});
                });
    }
}

void Replica::setCable(std::size_t number, bool up) {
    if (!cables_[number])
        return;
    const u32 index = *cables_[number];
    wantedUp_[index] = up;
    simulation::Cable& cable = engine_.cables()[index];
    cable.up = mayCarry(index);
    for (const simulation::PortEnd& end : {cable.a, cable.b})
        engine_.act(end.node, [&] { setLink(engine_.node(end.node), end.unit, up); });
}

void Replica::setVlans(const Change& change) {
    const auto index = static_cast<u32>(change.of);
    Node& node = engine_.node(index);
    engine_.act(index, [&] {
        platform::vlanForEach(change.vlans, [&](u32 vid) {
            change.kind == ChangeKind::Add ? makeVlanStatic(node, vid) : deleteVlan(node, vid);
        });
    });
}

/// What the daemon made is gone with it; its timers stand.
void Replica::goAway(u32 index) {
    Node& node = engine_.node(index);
    away_[index] = true;
    plugIn(index, false);
    node.host.switchState.forgetLearnt();
    node.wakeMs.reset();
    returns_.push_back({engine_.nowMs() + settings_.outageMs, index});
}

bool Replica::run(u64 ms) {
    const u64 endMs = engine_.nowMs() + ms;
    while (!returns_.empty() && returns_.front().atMs <= endMs) {
        const Return next = returns_.front();
        returns_.erase(returns_.begin());
        if (!engine_.run(next.atMs - engine_.nowMs()))
            return false;
        startNode(next.node);
    }
    return engine_.run(endMs - engine_.nowMs());
}

bool Replica::carries(std::size_t cable) const {
    return cables_[cable] && engine_.cables()[*cables_[cable]].up;
}

u64 Replica::longestLeaveAllMs() const {
    u32 longest = kMvrpLeaveAllTime.least;
    for (const Switch& each : source_.switches)
        for (const Port& port : each.ports)
            longest = std::max(longest, port.leaveAllMs);
    return longest;
}

u64 Replica::calmMs() const {
    constexpr u64 kMarginMs = 2000;
    u32 leaveMs = 0;
    for (const Switch& each : source_.switches)
        for (const Port& port : each.ports)
            leaveMs = std::max(leaveMs, port.leaveMs);
    return 3 * longestLeaveAllMs() / 2 + 2 * u64{leaveMs} + kMarginMs;
}

Network Replica::state() {
    Network now = source_;
    for (std::size_t of = 0; of < now.switches.size(); ++of) {
        Node& node = engine_.node(static_cast<u32>(of));
        const simulation::Turn turn(node, engine_.nowMs());
        const VlanSet fixed = simulation::staticVlans(node);
        for (Port& port : now.switches[of].ports) {
            const auto& held = node.host.switchState.ports.at(port.number);
            simulation::PortView view;
            VlanSet registered;
            if (const MvrpPortEntry* entry = mvrpPortEntryGet(port.number)) {
                view = simulation::viewOf(*entry, node);
                registered = registeredAt(*entry);
            }
            port.registered = bitmapOf(registered);
            port.declared = bitmapOf(view.declared);
            port.learnt = bitmapOf(held.dynamic);
            port.member = bitmapOf((fixed & held.permitted) | held.dynamic);
        }
    }
    return now;
}

}  // namespace network
