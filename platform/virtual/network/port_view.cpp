// SPDX-License-Identifier: MIT
#include "platform/virtual/network/port_view.h"

#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "platform/contract/qor_vlan.h"

namespace simulation {
namespace {

using scenario::VlanSet;

constexpr u32 kStatic = static_cast<u32>(QorVlanType::Static);

bool declares(u8 machine) {
    switch (mvrpApplicant(machine)) {
        case APP_STATE_VO:
        case APP_STATE_LA:
        case APP_STATE_LO:
        case APP_STATE_AO:
        case APP_STATE_QO:
            return false;
        default:
            return true;
    }
}

}  // namespace

VlanSet staticVlans(const Node& node) {
    VlanSet set;
    for (u32 vid = 2; vid < kMvrpVlanLast; vid++)
        set.set(vid, node.host.switchState.typeOfVlan(vid) == kStatic);
    return set;
}

PortView viewOf(const MvrpPortEntry& port, const Node& node) {
    PortView view;
    for (u32 vid = 2; vid < kMvrpVlanLast; vid++) {
        const u8 machine = port.madMachine[vid - 1];
        if (machine == 0)
            continue;
        const bool isRegistered = mvrpBitTest(&machine, MVRP_REG_BIT) != 0;
        const bool isFixed = mvrpRegistrar(machine) == REG_STATE_INF;
        view.registered.set(vid, isRegistered || isFixed);
        view.learnt.set(vid, isRegistered && !isFixed);
        view.declared.set(vid, declares(machine));
        view.propagated.set(vid, mvrpBitTest(&machine, MVRP_PROPAGATE_BIT) != 0);
    }
    view.member = node.host.switchState.ports.at(port.portunit).dynamic;
    return view;
}

std::string differing(const std::string& what, const VlanSet& is, const VlanSet& expected) {
    if (is == expected)
        return {};
    return what + ": too many " + scenario::formatVlanSet(is & ~expected) + ", missing " +
           scenario::formatVlanSet(expected & ~is);
}

Views viewsOf(Network& network) {
    Views views;
    for (const auto& node : network.nodes()) {
        const Turn turn(*node, network.nowMs());
        views.emplace_back();
        for (auto* port = mvrpPortEntryFirst(); port != nullptr; port = mvrpPortEntryNext(port))
            views.back()[port->portunit] = viewOf(*port, *node);
    }
    return views;
}

}  // namespace simulation
