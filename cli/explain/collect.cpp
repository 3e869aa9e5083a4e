// SPDX-License-Identifier: MIT
#include <algorithm>

#include "cli/explain/explain.h"

namespace cli {

namespace {

VlanOnPort onPort(const PortView& view, const VlanHistory& history,
                  const platform::PortStatisticsRecord& statistics, u32 vid) {
    VlanOnPort port;
    port.port = view.port;
    port.settings = view.settings;
    if (view.machines.size() >= vid)
        port.machine = view.machines[vid - 1];
    port.history = history;
    port.lastPduMs = statistics.lastPduMs;
    port.failedVid = statistics.lastFailedVid;
    port.failedReason = statistics.lastFailedReason;
    port.permitted = platform::vlanContains(view.permitted, vid);
    port.permittedTagged = platform::vlanContains(view.permittedTagged, vid);
    port.learntMember = platform::vlanContains(view.dynamic, vid);
    return port;
}

}  // namespace

ExplainFacts collectFacts(Client& client, const platform::SwitchPortRecord& port, u32 vid) {
    ExplainFacts facts;
    facts.vid = vid;
    facts.global = queryGlobal(client);
    const VlansView view = queryVlans(client, kExplainParts);
    facts.vlanIsStatic = platform::vlanContains(view.staticVlans, vid);
    facts.vlanIsLearnt = platform::vlanContains(view.dynamicVlans, vid);
    std::vector<platform::SwitchPortRecord> ports;
    for (const PortView& each : view.ports)
        ports.push_back(each.port);
    const std::vector<VlanHistory> histories = queryVlanHistory(client, vid, ports);
    const std::vector<PortStatistics> statistics = queryStatistics(client, ports);
    const auto decided = queryLastCorrections(client, vid, ports);
    for (std::size_t i = 0; i < ports.size(); ++i) {
        VlanOnPort each = onPort(view.ports[i], histories[i], statistics[i].record, vid);
        each.decided = decided[i];
        if (ports[i].unit == port.unit)
            facts.port = each;
        else
            facts.others.push_back(each);
    }
    return facts;
}

}  // namespace cli
