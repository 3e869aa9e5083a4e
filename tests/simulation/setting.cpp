// SPDX-License-Identifier: MIT
//
// What a network begins with, and what it is brought to when its faults end.
#include <algorithm>
#include <array>

#include "daemon/db/port.h"
#include "daemon/mgmt/config.h"
#include "platform/contract/qor_vlan.h"
#include "platform/virtual/network/platform_events.h"
#include "tests/simulation/ways.h"

namespace simulation {
namespace {

constexpr u32 kMostStaticAtStart = 4;
/// VLANs beyond are permitted nowhere; each one that is costs questions when a port is enabled.
constexpr u32 kMostPermitted = 64;

void restoreNode(Node& node) {
    node.host.failures.clear();
    for (auto& waiting : node.host.sockets.waiting)
        waiting.set({});
    for (auto& [unit, port] : node.host.switchState.ports)
        setEligible(node, unit, true);
}

/// Management's part; a port that was lost is switched on again.
void restoreManagement(Node& node) {
    setScalar(MVRP_SCALAR_ENABLE, MVRP_ON);
    setScalar(MVRP_SCALAR_GVRP_COMPLIANCE, node.compliant ? MVRP_ON : MVRP_OFF);
    for (auto& [unit, port] : node.host.switchState.ports) {
        // A port that was switched off half-way does not come back otherwise.
        if (const auto* entry = mvrpPortEntryGet(unit); entry != nullptr && entry->enable == 0)
            setPortEnabled(node, unit, false);
        setPortEnabled(node, unit, true);
        setPort(unit, MVRP_PORT_REGISTRATION_MODE, MVRP_REGISTRATION_NORMAL);
        setPort(unit, MVRP_PORT_PARTICIPANT_MODE, MVRP_PARTICIPANT_FULL);
        setPort(unit, MVRP_PORT_LEAVE_ALL_TIMEOUT, kMvrpLeaveAllTime.initial);
        setPort(unit, MVRP_PORT_LEAVE_TIMEOUT, kMvrpLeaveTime.initial);
        setPort(unit, MVRP_PORT_JOIN_TIMEOUT, kMvrpJoinTime.initial);
    }
}

/// What only an exact network has. A pool that runs out is never made up for, so none does.
void setUpExact(Node& node, bool compliant, bool refuses, Random& random) {
    node.compliant = compliant;
    node.pairsLost = false;
    node.host.options.erase("mvrp.maxvlannumperif");
    for (auto& [unit, port] : node.host.switchState.ports)
        if (refuses && random.percent(30))
            for (u32 vid = 2; vid <= kMostPermitted; vid++)
                port.admitted.set(vid, random.percent(70));
}

void setUpNode(Node& node, u32 ports, Random& random, Profile profile) {
    auto& state = node.host.switchState;
    state.vlanTypes.set(1, static_cast<u32>(QorVlanType::Static));
    for (u32 unit = 1; unit <= ports; unit++) {
        auto& port = state.addPort(unit);
        for (u32 vid = 1; vid <= kMostPermitted; vid++)
            port.permitted.set(vid);
        port.tagged = port.permitted;
        port.tagged.reset(port.pvid);
        port.aggregation = random.percent(20) ? 1 : 0;
        node.wanted[unit] = true;
    }
    for (u32 count = random.below(kMostStaticAtStart); count > 0; count--)
        state.vlanTypes.set(chooseVlan(random, profile), static_cast<u32>(QorVlanType::Static));
    static constexpr std::array<const char*, 4> kBatches = {"1", "2", "3", "50"};
    node.host.options["mvrp.maxifnum"] = std::to_string(ports + 1);
    node.host.options["mvrp.vlannumpertimes"] = kBatches[random.below(kBatches.size())];
    node.pairsLost = profile == Profile::Wild && random.percent(10);
    if (node.pairsLost)
        node.host.options["mvrp.maxvlannumperif"] = "3";
}

}  // namespace

std::vector<Way> buildNetwork(Network& network, const Plan& plan) {
    Random random(plan.seed ^ 0x746F706F6C6F6779U);
    std::vector<u32> ports(plan.switches, 0);
    for (u32 index = 0; index < plan.switches; index++) {
        Node& node = network.addNode();
        // Every other daemon is asked for what it would read in place: it makes no difference.
        if (index % 2 == 0)
            node.host.facts.reset();
        if (index == 0)
            continue;
        // Near neighbours make long branches, far ones stars.
        const u32 parent = random.percent(70) ? index - 1 - random.below(std::min(index, 2U))
                                              : random.below(index);
        network.addCable({parent, ++ports[parent]}, {index, ++ports[index]}, 1 + random.below(20));
    }
    for (u32 index = 0; index < plan.switches; index++) {
        Node& node = network.node(index);
        const u32 edge = 1 + random.below(2);  // ports without a cable
        setUpNode(node, ports[index] + edge, random, plan.profile);
    }
    std::vector<Way> ways;
    if (plan.exact) {
        const bool compliant = random.percent(25);
        const bool refuses = random.percent(30);
        for (u32 index = 0; index < plan.switches; index++)
            setUpExact(network.node(index), compliant, refuses, random);
        ways = makeWays(network, plan, random);
    }
    for (u32 index = 0; index < plan.switches; index++)
        network.act(index, [&] { startDaemonOf(network.node(index)); });
    return ways;
}

void endFaults(Network& network) {
    for (const auto& node : network.nodes()) {
        network.act(node->index, [&node] { restoreNode(*node); });
        // What a refused call left undone the daemon does not know of; nor do the exact rules.
        if (node->callsFailed && !node->host.corrections.empty())
            network.act(node->index, [&node] { startDaemonOf(*node); });
        network.act(node->index, [&node] { restoreManagement(*node); });
    }
    for (Cable& cable : network.cables()) {
        cable.faults = {};
        if (cable.up)
            continue;
        cable.up = true;
        for (const PortEnd& end : {cable.a, cable.b})
            network.act(end.node, [&] { setLink(network.node(end.node), end.unit, true); });
    }
}

}  // namespace simulation
