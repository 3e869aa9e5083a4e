// SPDX-License-Identifier: MIT
#include "tests/simulation/ways.h"

#include <algorithm>
#include <limits>

#include "platform/contract/qor_vlan.h"

namespace simulation {
namespace {

constexpr u32 kMostWays = 2;
constexpr u32 kStatic = static_cast<u32>(QorVlanType::Static);
/// Ways are there by then: a join time at the start, and the way of a PDU.
constexpr u64 kWayMs = 60'000;

/// The ports between two switches of a tree, from `from` on.
std::vector<PortEnd> portsBetween(const Network& network, u32 from, u32 to) {
    constexpr u32 kNone = std::numeric_limits<u32>::max();
    std::vector<u32> reachedBy(network.nodes().size(), kNone);  // number of a cable
    std::vector<u32> open = {to};
    const auto& cables = network.cables();
    for (std::size_t at = 0; at < open.size(); at++)
        for (u32 cable = 0; cable < cables.size(); cable++)
            for (const auto& [near, far] : {std::pair(cables[cable].a, cables[cable].b),
                                            std::pair(cables[cable].b, cables[cable].a)})
                if (near.node == open[at] && far.node != to && reachedBy[far.node] == kNone) {
                    reachedBy[far.node] = cable;
                    open.push_back(far.node);
                }
    std::vector<PortEnd> ports;
    for (u32 node = from; node != to;) {
        const Cable& cable = cables[reachedBy[node]];
        const bool isA = cable.a.node == node;
        ports.push_back(isA ? cable.a : cable.b);
        ports.push_back(isA ? cable.b : cable.a);
        node = ports.back().node;
    }
    return ports;
}

bool isStaticOn(const Node& node, u32 vid) {
    return node.host.switchState.typeOfVlan(vid) == kStatic;
}

bool hasPort(const Way& way, u32 node, u32 unit) {
    return std::ranges::any_of(way.ports, [node, unit](const PortEnd& end) {
        return end.node == node && end.unit == unit;
    });
}

bool hasSwitch(const Way& way, u32 node) {
    return std::ranges::any_of(way.ports, [node](const PortEnd& end) { return end.node == node; });
}

bool cuts(const Way& way, const Network& network, const Step& step) {
    if (isOfCable(step.kind)) {
        if (step.kind == StepKind::LinkUp || network.cables().empty())
            return false;
        const Cable& cable = network.cables()[step.number % network.cables().size()];
        return hasPort(way, cable.a.node, cable.a.unit);
    }
    const u32 node = step.number % network.switchCount();
    if (!hasSwitch(way, node))
        return false;
    const u32 unit = unitOf(*network.nodes()[node], step);
    switch (step.kind) {
        case StepKind::VlanDelete:
            return step.value == way.vid && (node == way.from || node == way.to);
        case StepKind::PermitRemove:
            return step.value == way.vid && hasPort(way, node, unit);
        case StepKind::PortDisable:
        case StepKind::PortReset:
        case StepKind::Eligible:
        case StepKind::RegistrationMode:
        case StepKind::ParticipantMode:
        case StepKind::Timers:
        case StepKind::Garbage:
            return hasPort(way, node, unit);
        case StepKind::Compliance:
        case StepKind::GlobalEnable:
        case StepKind::FailCalls:
        case StepKind::Restart:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::vector<Way> makeWays(Network& network, const Plan& plan, Random random) {
    std::vector<Way> ways;
    const u32 count = network.switchCount() < 2 ? 0 : 1 + random.below(kMostWays);
    while (ways.size() < count) {
        Way way;
        way.from = random.below(network.switchCount());
        way.to = (way.from + 1 + random.below(network.switchCount() - 1)) % network.switchCount();
        way.vid = chooseVlan(random, plan.profile);
        way.ports = portsBetween(network, way.from, way.to);
        for (const u32 end : {way.from, way.to})
            network.node(end).host.switchState.vlanTypes.set(way.vid, kStatic);
        for (const PortEnd& end : way.ports)
            network.node(end.node).host.switchState.ports.at(end.unit).admitted.set(way.vid);
        ways.push_back(std::move(way));
    }
    return ways;
}

bool cutsWay(const Network& network, const std::vector<Way>& ways, const Step& step) {
    return std::ranges::any_of(
        ways, [&network, &step](const Way& way) { return cuts(way, network, step); });
}

Continuity::Continuity(const Network& network, const std::vector<Way>& ways) : network_(network) {
    for (const Way& way : ways)
        for (const PortEnd& end : way.ports)
            slots_.push_back({end, way.vid, false, false, 0});
}

/// Whether the port is in the VLAN, with what the platform keeps of one that was static.
bool Continuity::carries(Slot& slot, const Node& node) const {
    const auto& port = node.host.switchState.ports.at(slot.end.unit);
    const bool isStatic = isStaticOn(node, slot.vid) && port.permitted.test(slot.vid);
    if (slot.isStatic && !isStatic)
        slot.lingerMs = network_.nowMs() + kLingerMs;
    slot.isStatic = isStatic;
    return isStatic || port.dynamic.test(slot.vid) || network_.nowMs() < slot.lingerMs;
}

void Continuity::look(const Node& node) {
    for (Slot& slot : slots_) {
        if (slot.end.node != node.index)
            continue;
        const bool is = carries(slot, node);
        if (slot.joined && !is && problem_.empty())
            problem_ = "switch " + std::to_string(node.index) + " port " +
                       std::to_string(slot.end.unit) + ": left VLAN " + std::to_string(slot.vid) +
                       ", which both ends of its way have, at " + std::to_string(network_.nowMs()) +
                       " ms";
        slot.joined |= is;
    }
}

std::string Continuity::missing() const {
    if (network_.nowMs() < kWayMs)
        return {};
    for (const Slot& slot : slots_)
        if (!slot.joined)
            return "switch " + std::to_string(slot.end.node) + " port " +
                   std::to_string(slot.end.unit) + ": is not in VLAN " + std::to_string(slot.vid) +
                   " after " + std::to_string(kWayMs) + " ms, though both ends of its way have it";
    return {};
}

}  // namespace simulation
