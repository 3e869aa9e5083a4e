// SPDX-License-Identifier: MIT
#include "platform/virtual/network/standby.h"

#include "daemon/db/port.h"
#include "daemon/mgmt/config.h"
#include "daemon/sync/standby.h"
#include "platform/contract/qor_vlan.h"
#include "platform/virtual/network/platform_events.h"
#include "platform/virtual/network/standby_turn.h"

namespace simulation {
namespace {

using scenario::VlanSet;

StandbyMessage messageOf(u32 unit, u32 command, void* value) {
    if (command != kSyncPacketCommand)
        return {unit, command, *static_cast<const u32*>(value), {}};
    const auto bytes = scenario::bitmapOf(value);
    return {unit, command, 0, {bytes.begin(), bytes.end()}};
}

void copySwitch(const Node& active, Node& standby) {
    auto& state = standby.host.switchState;
    for (u32 vid = 1; vid < state.vlanTypes.size(); vid++)
        if (active.host.switchState.typeOfVlan(vid) == static_cast<u32>(QorVlanType::Static))
            state.vlanTypes.set(vid, active.host.switchState.vlanTypes[vid]);
    for (const auto& [unit, port] : active.host.switchState.ports) {
        auto& copy = state.addPort(unit);
        copy.permitted = port.permitted;
        copy.tagged = port.tagged;
    }
    standby.host.options = active.host.options;
    standby.wanted = active.wanted;
    standby.pairsLost = active.pairsLost;
}

/// VLANs that the active's daemon has applied on a port.
VlanSet appliedOn(const MvrpPortEntry& port) {
    VlanSet set;
    for (u32 vid = kMvrpDefaultVlan + 1; vid <= kMvrpVlanLast; vid++)
        set.set(vid, mvrpBitTest(&port.vlanFlag[vid - 1], MVRP_FLAG_APPLIED) != 0);
    return set;
}

std::map<u32, VlanSet> appliedBy(Network& network, u32 active) {
    const Turn turn(network.node(active), network.nowMs());
    std::map<u32, VlanSet> applied;
    for (auto* port = mvrpPortEntryFirst(); port != nullptr; port = mvrpPortEntryNext(port))
        applied[port->portunit] = appliedOn(*port);
    return applied;
}

}  // namespace

void attachStandby(Network& network, u32 active) {
    if (!network.node(active).standby) {
        Node& standby = network.addStandby(active);
        copySwitch(network.node(active), standby);
        network.node(active).host.onCommandSync = [&from = network.node(active)](
                                                      u32 unit, u32 command, void* value) {
            from.toStandby.push_back(messageOf(unit, command, value));
            return kStatusOk;
        };
    }
    const u32 index = *network.node(active).standby;
    network.act(index, [&network, index] { startDaemonOf(network.node(index)); });
}

std::string checkStandby(Network& network, const Node& active) {
    if (!active.standby)
        return {};
    const Node& standby = network.node(*active.standby);
    const std::string place = "standby of switch " + std::to_string(active.index) + " port ";
    for (const auto& [unit, applied] : appliedBy(network, active.index)) {
        const auto& port = standby.host.switchState.ports.at(unit);
        const VlanSet lost = applied & port.tagged & ~port.dynamic;
        if (lost.any())
            return place + std::to_string(unit) + ": lacks " + scenario::formatVlanSet(lost);
    }
    for (const auto& [unit, port] : standby.host.switchState.ports) {
        const auto told = standby.told.find(unit);
        const VlanSet alien =
            told == standby.told.end() ? port.everDynamic : port.everDynamic & ~told->second;
        if (alien.any())
            return place + std::to_string(unit) + ": was not told of " +
                   scenario::formatVlanSet(alien);
    }
    return {};
}

}  // namespace simulation
