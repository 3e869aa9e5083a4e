// SPDX-License-Identifier: MIT
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/text.h"
#include "cli/vlan_groups.h"

namespace cli {

namespace {

constexpr Argument kPort = {"port", "name or unit of a port"};
constexpr Argument kVlan = {"vlan", "VLAN ID, 1 to 4094"};

PortView portView(const Context& context) {
    return queryPorts(context.client, {context.port(0)}).front();
}

std::vector<PortView> allPorts(const Context& context) {
    return queryPorts(context.client, queryPortList(context.client));
}

void showGlobal(const Context& context) {
    const GlobalView view = queryGlobal(context.client);
    context.print(context.json ? globalJson(view) : globalText(view, context.style));
}

void showPorts(const Context& context) {
    const std::vector<PortView> ports = allPorts(context);
    context.print(context.json ? portsJson(ports) : portsText(ports, context.style));
}

void showPort(const Context& context) {
    const PortView view = portView(context);
    context.print(context.json ? portsJson({view}) : portText(view, context.style));
}

void showVlans(const Context& context) {
    const std::vector<VlanGroup> groups = groupVlans(queryVlans(context.client), std::nullopt);
    context.print(context.json ? vlansJson(groups) : vlansText(groups, context.style));
}

void showVlan(const Context& context) {
    const u32 vid = context.vlan(0);
    const VlansView view = queryVlans(context.client);
    context.print(context.json ? vlansJson(groupVlans(view, vid))
                               : vlanText(vid, view, context.style));
}

void showState(const Context& context) {
    std::optional<u32> vid;
    if (context.count() > 1)
        vid = context.vlan(1);
    const PortView view = portView(context);
    const std::vector<StateGroup> groups = groupStates(view, vid);
    context.print(context.json ? stateJson(view, groups) : stateText(groups, context.style));
}

void showCounters(const Context& context) {
    const std::vector<PortView> ports =
        context.count() > 0 ? std::vector{portView(context)} : allPorts(context);
    context.print(context.json ? countersJson(ports) : countersText(ports, context.style));
}

constexpr Command kCommands[] = {
    {"show", "the switch and the protocol", {}, showGlobal},
    {"show ports", "all ports with what they registered, declare and learnt", {}, showPorts},
    {"show port", "one port: settings, timers, peer, VLANs", {{kPort}}, showPort},
    {"show vlans", "VLANs of the switch, static and learnt, with their members", {}, showVlans},
    {"show vlan", "one VLAN: kind, members, and its state on each port", {{kVlan}}, showVlan},
    {"show state",
     "applicants and registrars of a port",
     {{kPort, {"vlan", "only this VLAN ID", true}}},
     showState},
    {"show counters",
     "protocol frames of all ports or of one",
     {{{"port", "name or unit of a port", true}}},
     showCounters},
};

}  // namespace

constinit const std::span<const Command> kShowCommands = kCommands;

}  // namespace cli
