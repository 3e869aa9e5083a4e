// SPDX-License-Identifier: MIT
#include <algorithm>

#include "daemon/db/port.h"
#include "platform/virtual/network/port_view.h"
#include "platform/virtual/network/standby.h"
#include "tests/simulation/invariants.h"

namespace simulation {
namespace {

using scenario::VlanSet;

/// What a tree of switches comes to: the VLANs that are static on each switch, and somewhere behind
/// each port.
class Tree {
  public:
    explicit Tree(const Network& network) : network_(network) {
        for (const auto& node : network.nodes())
            fixed_.push_back(staticVlans(*node));
        ends_.resize(network.nodes().size());
        for (const Cable& cable : network.cables()) {
            ends_[cable.a.node][cable.a.unit] = cable.b;
            ends_[cable.b.node][cable.b.unit] = cable.a;
        }
        behind_.resize(network.nodes().size());
    }

    const VlanSet& fixed(u32 index) const { return fixed_[index]; }

    const VlanSet& behind(u32 index, u32 unit) {
        const auto known = behind_[index].find(unit);
        if (known != behind_[index].end())
            return known->second;
        const auto end = ends_[index].find(unit);
        const VlanSet set = end == ends_[index].end() ? VlanSet() : from(end->second);
        return behind_[index][unit] = set;
    }

  private:
    /// Everything on the switch of `end` and behind its other ports.
    VlanSet from(PortEnd end) {
        VlanSet set = fixed_[end.node];
        for (const auto& [unit, port] : network_.nodes()[end.node]->host.switchState.ports)
            if (unit != end.unit)
                set |= behind(end.node, unit);
        return set;
    }

    const Network& network_;
    std::vector<VlanSet> fixed_;                  // by switch
    std::vector<std::map<u32, PortEnd>> ends_;    // by switch and unit: the cable's other end
    std::vector<std::map<u32, VlanSet>> behind_;  // those that were asked for
};

/// VLANs whose membership on a port is open because a port before it in the order of units was a
/// member: a batch takes the additions and removals of the port before along.
VlanSet carriedOver(const Node& node, const MvrpPortEntry& port) {
    VlanSet set;
    for (const auto& [unit, each] : node.host.switchState.ports)
        if (unit < port.portunit)
            set |= each.everDynamic;
    return set;
}

/// The exact state of a port in a network where nothing but links, cables and VLANs changed.
std::string checkCalmPort(Tree& tree, const Node& node, const MvrpPortEntry& port) {
    const PortView view = viewOf(port, node);
    const VlanSet& fixed = tree.fixed(node.index);
    const VlanSet learnt = tree.behind(node.index, port.portunit) & ~fixed;
    VlanSet others = fixed;
    for (const auto& [unit, ignored] : node.host.switchState.ports)
        if (unit != port.portunit)
            others |= tree.behind(node.index, unit);
    std::string problem = differing("registered", view.learnt & ~fixed, learnt);
    if (problem.empty())
        problem = differing("declared", view.declared, others);
    if (problem.empty())
        problem = differing("propagated", view.propagated & ~fixed, others & ~fixed);
    // The switch here deletes a VLAN that has members: such a membership may never be taken back.
    const VlanSet stranded = node.host.switchState.ports.at(port.portunit).stranded;
    const VlanSet open = fixed | carriedOver(node, port) | (stranded & view.member);
    if (problem.empty())
        problem = differing("member", view.member & ~open, learnt & ~open);
    return problem;
}

std::string missing(const std::string& what, const VlanSet& set, const VlanSet& within) {
    const VlanSet lost = set & ~within;
    return lost.none() ? std::string() : what + " " + scenario::formatVlanSet(lost);
}

/// What holds between two ports on one cable, whatever happened before.
std::string checkCable(const Network& network, const Views& views, PortEnd from, PortEnd to) {
    const PortView& speaker = views[from.node].at(from.unit);
    const PortView& listener = views[to.node].at(to.unit);
    const VlanSet fixed = staticVlans(*network.nodes()[to.node]);
    const std::string place = "switch " + std::to_string(from.node) + " port " +
                              std::to_string(from.unit) + " to switch " + std::to_string(to.node) +
                              " port " + std::to_string(to.unit) + ": ";
    std::string problem =
        missing("declared and not registered", speaker.declared & ~fixed, listener.registered);
    if (problem.empty())
        problem =
            missing("registered and not declared", listener.learnt & ~fixed, speaker.declared);
    return problem.empty() ? problem : place + problem;
}

/// What is registered on one port of a switch is declared on the others.
std::string checkPropagation(const Node& node, const std::map<u32, PortView>& ports) {
    const VlanSet fixed = staticVlans(node);
    for (const auto& [source, from] : ports)
        for (const auto& [target, to] : ports) {
            const std::string problem =
                missing("is not declared of what port " + std::to_string(source) + " registers:",
                        from.learnt & ~fixed, to.declared);
            if (source != target && !problem.empty())
                return "switch " + std::to_string(node.index) + " port " + std::to_string(target) +
                       ": " + problem;
        }
    return {};
}

std::string checkWild(Network& network) {
    const Views views = viewsOf(network);
    std::string problem;
    for (const Cable& cable : network.cables()) {
        if (problem.empty())
            problem = checkCable(network, views, cable.a, cable.b);
        if (problem.empty())
            problem = checkCable(network, views, cable.b, cable.a);
    }
    for (const auto& node : network.nodes())
        if (problem.empty())
            problem = checkPropagation(*node, views[node->index]);
    return problem;
}

std::string checkCalm(Network& network) {
    Tree tree(network);
    for (u32 index = 0; index < network.switchCount(); index++) {
        const Node* node = &network.node(index);
        const Turn turn(network.node(index), network.nowMs());
        for (auto* port = mvrpPortEntryFirst(); port != nullptr; port = mvrpPortEntryNext(port)) {
            const std::string problem = checkCalmPort(tree, *node, *port);
            if (!problem.empty())
                return "switch " + std::to_string(node->index) + " port " +
                       std::to_string(port->portunit) + ": " + problem;
        }
    }
    return {};
}

}  // namespace

std::string checkRest(Network& network, Profile profile) {
    std::string problem = profile == Profile::Calm ? checkCalm(network) : checkWild(network);
    for (u32 index = 0; index < network.switchCount() && problem.empty(); index++)
        problem = checkStandby(network, network.node(index));
    return problem;
}

}  // namespace simulation
