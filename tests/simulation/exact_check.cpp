// SPDX-License-Identifier: MIT
//
// The rules of daemons with all corrections on, without exceptions: what a port has registered, is
// a member of and declares follows from what is static where, and from what is admitted.
#include <algorithm>

#include "daemon/db/port_vlan.h"
#include "daemon/mgmt/config.h"
#include "platform/virtual/network/port_view.h"
#include "platform/virtual/network/standby.h"
#include "tests/simulation/invariants.h"

namespace simulation {
namespace {

using scenario::VlanSet;

std::string placeOf(u32 node, u32 unit) {
    return "switch " + std::to_string(node) + " port " + std::to_string(unit) + ": ";
}

// What holds at any time ------------------------------------------------------

/// What one switch has on its ports, in a turn of it.
struct SwitchView {
    VlanSet fixed;                  ///< static
    std::map<u32, PortView> ports;  ///< those that take part
};

SwitchView switchViewOf(const Node& node) {
    SwitchView view;
    view.fixed = staticVlans(node);
    for (auto* port = mvrpPortEntryFirst(); port != nullptr; port = mvrpPortEntryNext(port))
        if (port->enable != 0)
            view.ports[port->portunit] = viewOf(*port, node);
    return view;
}

/// Those of some VLANs that nobody takes the port out of.
VlanSet keptForGood(const VlanSet& vlans, const MvrpPortEntry& port) {
    VlanSet kept = vlans;
    scenario::forEachMember(vlans, [&](std::size_t vid) {
        if (mvrpBitTest(&port.vlanFlag[vid - 1], MVRP_FLAG_REMOVE) != 0 &&
            mvrpPortVlanEntryGet(port.portunit, static_cast<u32>(vid)))
            kept.reset(vid);
    });
    return kept;
}

/// What the other ports of the switch have registered.
VlanSet learntElsewhere(const SwitchView& view, u32 unit) {
    VlanSet set;
    for (const auto& [other, port] : view.ports)
        if (other != unit)
            set |= port.learnt;
    return set & ~view.fixed;
}

std::string checkPortNow(const SwitchView& view, const MvrpPortEntry& port, const Node& node) {
    const PortView& own = view.ports.at(port.portunit);
    const auto& facts = node.host.switchState.ports.at(port.portunit);
    std::string problem = differing("registered and not admitted",
                                    own.learnt & ~view.fixed & ~facts.admitted, VlanSet());
    if (problem.empty())
        problem = differing("member of what is neither registered nor static, for good",
                            keptForGood(own.member & ~own.learnt & ~view.fixed, port), VlanSet());
    if (port.registration_mode != MVRP_REGISTRATION_NORMAL || !problem.empty())
        return problem;
    problem = differing("declared of what others registered", own.declared & ~view.fixed,
                        learntElsewhere(view, port.portunit));
    if (problem.empty())
        problem = differing("static and not declared", view.fixed & facts.permitted & ~own.declared,
                            VlanSet());
    return problem;
}

std::string checkSwitchNow(const Node& node) {
    const SwitchView view = switchViewOf(node);
    for (const auto& [unit, own] : view.ports) {
        const std::string problem = checkPortNow(view, *mvrpPortEntryGet(unit), node);
        if (!problem.empty())
            return placeOf(node.index, unit) + problem;
    }
    return {};
}

// What a network comes to -----------------------------------------------------

/// What the ports of a tree of switches declare and register at rest.
class Expected {
  public:
    Expected(const Network& network, const Views& views) : network_(network), views_(views) {
        const std::size_t count = network.switchCount();
        for (std::size_t index = 0; index < count; index++)
            fixed_.push_back(staticVlans(*network.nodes()[index]));
        ends_.resize(count);
        for (const Cable& cable : network.cables()) {
            ends_[cable.a.node][cable.a.unit] = cable.b;
            ends_[cable.b.node][cable.b.unit] = cable.a;
        }
        declared_.resize(count);
    }

    const VlanSet& fixed(u32 node) const { return fixed_[node]; }

    /// What is declared behind the port and admitted, of what is not static on its switch.
    VlanSet registered(u32 node, u32 unit) {
        const auto found = ends_[node].find(unit);
        if (found == ends_[node].end())
            return {};
        const PortEnd end = found->second;
        return declared(end) & spoken(end.node, end.unit) & spoken(node, unit) & ~fixed_[node] &
               port(node, unit).admitted;
    }

    /// What is static on the port, and what other ports have registered. What became static on the
    /// switch when the port could not carry it, it goes on declaring if it did so for others: no
    /// message is about that port.
    const VlanSet& declared(PortEnd end) {
        const auto known = declared_[end.node].find(end.unit);
        if (known != declared_[end.node].end())
            return known->second;
        const PortView& view = views_[end.node].at(end.unit);
        VlanSet set = fixed_[end.node] & (port(end.node, end.unit).permitted | view.declared);
        for (const auto& [unit, other] : network_.nodes()[end.node]->host.switchState.ports)
            if (unit != end.unit)
                set |= registered(end.node, unit);
        return declared_[end.node][end.unit] = set;
    }

    const scenario::SwitchPort& port(u32 node, u32 unit) const {
        return network_.nodes()[node]->host.switchState.ports.at(unit);
    }

  private:
    /// Under compliance a port neither says nor hears anything of a VLAN that it may not carry.
    VlanSet spoken(u32 node, u32 unit) const {
        return network_.nodes()[node]->compliant ? port(node, unit).permitted : ~VlanSet();
    }

    const Network& network_;
    const Views& views_;
    std::vector<VlanSet> fixed_;                    // by switch
    std::vector<std::map<u32, PortEnd>> ends_;      // by switch and unit: the cable's other end
    std::vector<std::map<u32, VlanSet>> declared_;  // those that were asked for
};

/// A registration that the port may not carry any more may stay until it is withdrawn.
std::string checkPortAtRest(Expected& expected, PortEnd end, const PortView& view) {
    const VlanSet& fixed = expected.fixed(end.node);
    const VlanSet registered = expected.registered(end.node, end.unit);
    std::string problem = differing("registered", view.learnt, registered);
    if (problem.empty())
        problem = differing("declared", view.declared, expected.declared(end));
    if (problem.empty())
        problem =
            differing("member", view.member & ~fixed,
                      registered & (expected.port(end.node, end.unit).permitted | view.member));
    return problem;
}

}  // namespace

std::string checkExactNow(Network& network) {
    for (u32 index = 0; index < network.switchCount(); index++) {
        Node& node = network.node(index);
        if (!node.acted || node.callsFailed)
            continue;
        const Turn turn(node, network.nowMs());
        std::string problem = checkSwitchNow(node);
        if (!problem.empty())
            return problem;
    }
    return {};
}

std::string checkExactPorts(Network& network) {
    const Views views = viewsOf(network);
    for (u32 index = 0; index < network.switchCount(); index++)
        for (const auto& [unit, port] : network.node(index).host.switchState.ports)
            if (!views[index].contains(unit))
                return placeOf(index, unit) + "does not take part";
    Expected expected(network, views);
    for (u32 index = 0; index < network.switchCount(); index++) {
        for (const auto& [unit, view] : views[index]) {
            const std::string problem = checkPortAtRest(expected, {index, unit}, view);
            if (!problem.empty())
                return placeOf(index, unit) + problem;
        }
    }
    return {};
}

std::string checkExactRest(Network& network) {
    std::string problem = checkExactPorts(network);
    for (u32 index = 0; index < network.switchCount() && problem.empty(); index++)
        problem = checkStandby(network, network.node(index));
    return problem;
}

bool refusesSome(const Network& network) {
    return std::ranges::any_of(network.nodes(), [](const auto& node) {
        return std::ranges::any_of(node->host.switchState.ports,
                                   [](const auto& port) { return !port.second.admitted.all(); });
    });
}

}  // namespace simulation
