// SPDX-License-Identifier: MIT
#include "cli/client/observed.h"
#include "cli/commands/commands.h"
#include "cli/print/words.h"
#include "cli/views/corrections.h"
#include "cli/views/json.h"
#include "cli/views/metrics.h"
#include "cli/views/running.h"
#include "cli/views/statistics.h"
#include "cli/views/text.h"
#include "cli/views/vlan_groups.h"

namespace cli {

namespace {

constexpr Argument kPort = {"port", "name or unit of a port"};
constexpr Argument kSomePorts = {
    "port", "names or units of ports, or ranges: swp1-4; all when absent", true, true};
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

void showCorrections(const Context& context) {
    const GlobalView view = queryGlobal(context.client);
    context.print(context.json ? correctionsJson(view) : correctionsText(view, context.style));
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
    const std::vector<VlanGroup> groups =
        groupVlans(queryVlans(context.client, kMemberParts), std::nullopt);
    context.print(context.json ? vlansJson(groups) : vlansText(groups, context.style));
}

void showVlan(const Context& context) {
    const u32 vid = context.vlan(0);
    const VlansView view = queryVlans(context.client, kRunningParts);
    context.print(context.json ? vlansJson(groupVlans(view, vid))
                               : vlanText(vid, view, context.style));
}

void showState(const Context& context) {
    std::optional<u32> vid;
    if (context.count() > 1)
        vid = context.vlan(1);
    const PortView view = portView(context);
    const std::vector<StateGroup> groups = groupStates(view, vid);
    const VlanHistory history =
        queryVlanHistory(context.client, vid.value_or(1), {view.port}).front();
    const u32 left = view.settings ? leaveTimeLeft(history.port, view.settings->leaveTime) : 0;
    context.print(context.json
                      ? stateJson(view, groups, left == 0 ? std::nullopt : std::optional(left))
                      : stateText(groups, left, context.style));
}

/// The ports that the command line names, or all, held against the switch.
std::vector<RunningPort> running(const Context& context) {
    std::vector<platform::SwitchPortRecord> wanted = context.ports(0);
    return compareRunning(queryVlans(context.client, wanted, kRunningParts));
}

void showRunning(const Context& context) {
    const std::vector<RunningPort> ports = running(context);
    context.print(context.json ? runningJson(ports) : runningText(ports, context.style));
}

void showSummary(const Context& context) {
    const std::vector<RunningPort> ports = running(context);
    context.print(context.json ? summaryJson(ports) : summaryText(ports, context.style));
}

void showConfig(const Context& context) {
    const GlobalView global = queryGlobal(context.client);
    const std::vector<PortView> ports = queryPorts(context.client, context.ports(0), kConfigParts);
    context.print(context.json ? configJson(global, ports)
                               : configText(global, ports, context.style));
}

void showStatistics(const Context& context) {
    const std::vector<PortStatistics> ports = queryStatistics(context.client, context.ports(0));
    context.print(context.json ? statisticsJson(ports) : statisticsText(ports, context.style));
}

void clearStatistics(const Context& context) {
    std::vector<Request> requests;
    if (context.count() == 0)
        requests.push_back({platform::Request::StatisticsClear});
    for (std::size_t i = 0; i < context.count(); ++i)
        requests.push_back({platform::Request::StatisticsClear, context.port(i).unit});
    for (const Reply& reply : context.client.exchange(requests))
        throwIfRefused(reply);
    context.finish(kStatusOk);
}

void showMetrics(const Context& context) {
    const bool open = context.has("openmetrics");
    context.print(metricsText(queryMetrics(context.client),
                              open ? MetricsFormat::OpenMetrics : MetricsFormat::Text));
}

void showCounters(const Context& context) {
    const std::vector<PortView> ports = queryPorts(context.client, context.ports(0), kCounterParts);
    context.print(context.json ? countersJson(ports) : countersText(ports, context.style));
}

constexpr Command kCommands[] = {
    {"show", "the switch and the protocol", {}, showGlobal},
    {"show corrections",
     "the corrections: which are on, how often each acted, and what it does",
     {},
     showCorrections},
    {"show config",
     "settings of the switch and of ports, permit lists",
     {{kSomePorts}},
     showConfig},
    {"show running",
     "what ports registered, declare and propagate, and what the switch does now",
     {{kSomePorts}},
     showRunning},
    {"show summary", "the same in numbers, a line for each port", {{kSomePorts}}, showSummary},
    {"show statistics",
     "PDUs and events of ports, malformed frames, failed registrations",
     {{kSomePorts}},
     showStatistics},
    {"clear statistics", "count from zero at ports", {{kSomePorts}}, clearStatistics},
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
    {"metrics",
     "everything that is counted, in the text format of Prometheus",
     {},
     showMetrics,
     nullptr,
     {{{"--openmetrics", nullptr, "as OpenMetrics 1.0"}}}},
};

}  // namespace

constinit const std::span<const Command> kShowCommands = kCommands;

}  // namespace cli
