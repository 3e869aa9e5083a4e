// SPDX-License-Identifier: MIT
#include "tests/simulation/step.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "daemon/mgmt/config.h"
#include "platform/virtual/network/platform_events.h"
#include "platform/virtual/network/standby.h"

namespace simulation {
namespace {

constexpr u32 kCalmVlans = 12;
constexpr u32 kWildVlans = 24;
constexpr u32 kMostCorruptPercent = 20;

struct KindRow {
    StepKind kind;
    std::string_view name;
    u32 calmWeight;
    u32 wildWeight;
};

constexpr auto kKinds = std::to_array<KindRow>({
    {StepKind::Wait, "wait", 10, 10},
    {StepKind::LinkDown, "link down, cable", 6, 6},
    {StepKind::LinkUp, "link up, cable", 10, 10},
    {StepKind::CableFaults, "faults on cable", 6, 6},
    {StepKind::VlanStatic, "VLAN made static", 8, 8},
    {StepKind::VlanDelete, "VLAN deleted", 5, 5},
    {StepKind::PortDisable, "port disabled", 0, 4},
    {StepKind::PortEnable, "port enabled", 0, 6},
    {StepKind::PermitRemove, "port taken out of VLAN", 0, 4},
    {StepKind::PermitAdd, "port added to VLAN", 0, 4},
    {StepKind::Eligible, "eligible", 0, 2},
    {StepKind::RegistrationMode, "registration mode", 0, 4},
    {StepKind::ParticipantMode, "participant mode", 0, 4},
    {StepKind::Timers, "timers", 0, 2},
    {StepKind::Compliance, "GVRP compliance", 0, 2},
    {StepKind::GlobalEnable, "global enable", 0, 1},
    {StepKind::FailCalls, "failing platform calls", 0, 6},
    {StepKind::SocketsBusy, "busy sockets", 4, 4},
    {StepKind::Restart, "daemon restarted", 0, 1},
    {StepKind::PortReset, "port reset", 0, 1},
    {StepKind::Garbage, "garbage received", 0, 4},
    {StepKind::StandbyAttach, "standby attached", 2, 2},
});

StepKind chooseKind(Random& random, Profile profile) {
    u32 sum = 0;
    for (const KindRow& row : kKinds)
        sum += profile == Profile::Calm ? row.calmWeight : row.wildWeight;
    u32 left = random.below(sum);
    for (const KindRow& row : kKinds) {
        const u32 weight = profile == Profile::Calm ? row.calmWeight : row.wildWeight;
        if (left < weight)
            return row.kind;
        left -= weight;
    }
    return StepKind::Wait;
}

u32 chooseWait(Random& random) {
    constexpr u32 kShortMs = 3000;
    constexpr u32 kLongMs = 150000;  // leave and leave-all times pass between two steps
    return random.percent(98) ? random.below(kShortMs) : random.below(kLongMs);
}

u32 portCount(const Node& node) {
    return static_cast<u32>(node.host.switchState.ports.size());
}

void failCalls(Node& node, Random random) {
    static constexpr std::array<const char*, 12> kCalls = {
        "ifget",  "ifset",   "ifsync",  "vlanget", "vlansync",  "send",
        "ifname", "cmdsync", "sockopt", "ioctl",   "poolalloc", "indextrans"};
    const std::string call = kCalls[random.below(kCalls.size())];
    const u64 count = 1 + random.below(4);
    node.pairsLost |= call == "poolalloc";
    node.callsFailed = true;
    node.host.failures.add({call, "*", count, random.below(3), std::nullopt});
}

/// A frame that no daemon sent: any bytes, or a plausible start with any bytes behind.
void receiveGarbage(Node& node, u32 unit, Random random) {
    scenario::QueuedFrame frame;
    frame.interfaceIndex = unit;
    frame.destination = scenario::MacAddress{0x01, 0x80, 0xC2, 0x00, 0x00, 0x21};
    frame.bytes = {0x00, 0x01, 0x01};
    if (random.percent(20))
        frame.bytes.clear();
    const u32 more = 1 + random.below(40);
    for (u32 count = 0; count < more; count++)
        frame.bytes.push_back(static_cast<u8>(random.percent(50) ? random.next() : 0));
    node.host.sockets.frames[random.below(2)].push_back(frame);
}

void setTimers(u32 unit, Random random) {
    setPort(unit, MVRP_PORT_JOIN_TIMEOUT, random.between(kMvrpJoinTime.least, kMvrpJoinTime.most));
    setPort(unit, MVRP_PORT_LEAVE_TIMEOUT,
            random.between(kMvrpLeaveTime.least, kMvrpLeaveTime.most));
    setPort(unit, MVRP_PORT_LEAVE_ALL_TIMEOUT,
            random.between(kMvrpLeaveTime.most, kMvrpLeaveAllTime.initial));
    setPort(unit, MVRP_PORT_PERIOD_TIMEOUT, random.below(2) * 1000);
}

void applyToCable(Network& network, const Step& step) {
    if (network.cables().empty())
        return;
    Cable& cable = network.cables()[step.number % network.cables().size()];
    if (step.kind == StepKind::CableFaults) {
        Random random(step.random);
        cable.faults = {random.below(40), random.below(20), random.below(40), step.value};
        return;
    }
    const bool up = step.kind == StepKind::LinkUp;
    if (cable.up == up)
        return;
    cable.up = up;
    for (const PortEnd& end : {cable.a, cable.b})
        network.act(end.node, [&] { setLink(network.node(end.node), end.unit, up); });
}

/// One of the values 1 to `count`.
u32 choice(const Step& step, u32 count) {
    return 1 + static_cast<u32>(step.random % count);
}

void applyInTurn(Node& node, u32 unit, const Step& step) {
    switch (step.kind) {
        case StepKind::VlanStatic:
            return makeVlanStatic(node, step.value);
        case StepKind::VlanDelete:
            return deleteVlan(node, step.value);
        case StepKind::PortDisable:
        case StepKind::PortEnable:
            setPortEnabled(node, unit, step.kind == StepKind::PortEnable);
            return;
        case StepKind::PermitRemove:
        case StepKind::PermitAdd:
            return permitVlan(node, unit, step.value, step.kind == StepKind::PermitAdd);
        case StepKind::Eligible:
            return setEligible(node, unit, step.random % 2 == 0);
        case StepKind::RegistrationMode:
            setPort(unit, MVRP_PORT_REGISTRATION_MODE, choice(step, 3));
            return;
        case StepKind::ParticipantMode:
            setPort(unit, MVRP_PORT_PARTICIPANT_MODE, choice(step, 3));
            return;
        case StepKind::Timers:
            return setTimers(unit, Random(step.random));
        case StepKind::Compliance:
            setScalar(MVRP_SCALAR_GVRP_COMPLIANCE, choice(step, 2));
            return;
        case StepKind::GlobalEnable:
            setScalar(MVRP_SCALAR_ENABLE, choice(step, 2));
            return;
        case StepKind::FailCalls:
            return failCalls(node, Random(step.random));
        case StepKind::SocketsBusy:
            node.host.sockets.waiting[step.random % 3].set({0, static_cast<u32>(step.random % 64)});
            return;
        case StepKind::Restart:
            return startDaemonOf(node);
        case StepKind::PortReset:
            return resetPort(node, unit);
        case StepKind::Garbage:
            return receiveGarbage(node, unit, Random(step.random));
        default:
            return;
    }
}

}  // namespace

/// Calm VLANs are even: what a switch does to a VLAN whose lower neighbour is dynamic is no calm
/// behaviour.
u32 chooseVlan(Random& random, Profile profile) {
    return profile == Profile::Calm ? 2 + 2 * random.below(kCalmVlans)
                                    : 2 + random.below(kWildVlans);
}

bool isOfCable(StepKind kind) {
    return kind == StepKind::LinkDown || kind == StepKind::LinkUp || kind == StepKind::CableFaults;
}

u32 unitOf(const Node& node, const Step& step) {
    return 1 + step.unit % portCount(node);
}

Plan makePlan(u64 seed, u32 switches, u32 steps, Profile profile, CorrectionSet corrections,
              CorrectionSet without) {
    Plan plan{seed,
              switches,
              profile,
              {},
              CorrectionSet::ofBits(corrections.bits() & ~without.bits()),
              corrections == CorrectionSet::all()};
    Random random(seed);
    for (u32 count = 0; count < steps; count++) {
        Step step;
        step.kind = chooseKind(random, profile);
        step.afterMs = chooseWait(random);
        step.number = random.below(switches);
        step.unit = static_cast<u32>(random.next() >> 32U);
        step.value = chooseVlan(random, profile);
        step.random = random.next();
        if (step.kind == StepKind::CableFaults)
            step.value = profile == Profile::Wild ? random.below(kMostCorruptPercent) : 0;
        plan.steps.push_back(step);
    }
    return plan;
}

void applyStep(Network& network, const Step& step) {
    if (step.kind == StepKind::Wait)
        return;
    if (isOfCable(step.kind)) {
        applyToCable(network, step);
        return;
    }
    const u32 index = step.number % network.switchCount();
    if (step.kind == StepKind::StandbyAttach) {
        attachStandby(network, index);
        return;
    }
    Node& node = network.node(index);
    const u32 unit = unitOf(node, step);
    network.act(index, [&] { applyInTurn(node, unit, step); });
}

std::string describe(const Network& network, const Step& step) {
    std::string text = "+" + std::to_string(step.afterMs) + " ms ";
    for (const KindRow& row : kKinds)
        if (row.kind == step.kind)
            text += row.name;
    if (step.kind == StepKind::Wait)
        return text;
    if (isOfCable(step.kind)) {
        if (network.cables().empty())
            return text;
        const Cable& cable = network.cables()[step.number % network.cables().size()];
        return text + " switch " + std::to_string(cable.a.node) + " port " +
               std::to_string(cable.a.unit) + " - switch " + std::to_string(cable.b.node) +
               " port " + std::to_string(cable.b.unit);
    }
    const auto& node = *network.nodes()[step.number % network.switchCount()];
    return text + ", switch " + std::to_string(node.index) + " port " +
           std::to_string(unitOf(node, step)) + ", VLAN " + std::to_string(step.value) +
           ", random " + std::to_string(step.random % 64);
}

}  // namespace simulation
