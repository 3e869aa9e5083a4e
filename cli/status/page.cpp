// SPDX-License-Identifier: MIT
#include <algorithm>

#include "cli/client/names.h"
#include "cli/client/port_ranges.h"
#include "cli/print/words.h"
#include "cli/status/status.h"
#include "cli/views/running.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

namespace {

/// The worst finding, with the ports of all that are the same.
void addVerdict(const std::vector<Finding>& findings, StatusPage& page) {
    std::vector<std::string> subjects;
    for (const Finding& finding : findings) {
        if (finding.severity == Severity::Note) {
            ++page.notes;
            continue;
        }
        if (!page.next)
            page.next = finding;
        if (finding.id == page.next->id && finding.severity == page.next->severity)
            subjects.push_back(finding.subject);
        else
            ++page.more;
    }
    if (page.next)
        page.next->subject = portRangesText(subjects);
}

bool runs(const PortView& view) {
    return view.settings && view.settings->enabled;
}

/// Those that work first, and then in the order of the ports.
void addPorts(const std::vector<PortView>& ports, StatusPage& page) {
    for (const PortView& view : ports) {
        const Cell condition = conditionOf(view);
        auto found = std::ranges::find_if(page.ports, [&condition](const PortsAlike& alike) {
            return alike.condition.text == condition.text;
        });
        if (found == page.ports.end())
            found = page.ports.insert(page.ports.end(),
                                      {condition, view.port.link == 1, runs(view), {}});
        found->names.emplace_back(view.port.name.data());
    }
    std::ranges::stable_sort(page.ports, [](const PortsAlike& a, const PortsAlike& b) {
        return std::pair(a.linkUp, a.runs) > std::pair(b.linkUp, b.runs);
    });
}

Peer peerOf(const PortView& view, const platform::VlanBitmap& staticVlans) {
    Peer peer;
    peer.port = view.port.name.data();
    peer.address = formatMac(view.port.peerMac);
    peer.speaks = view.port.heardForm == 0 ? "GVRP" : nameOf(kWireForms, view.port.heardForm);
    peer.declared = platform::vlanDifference(view.registered, staticVlans);
    return peer;
}

void addPeers(const StatusFacts& facts, StatusPage& page) {
    for (const PortView& view : facts.daemon.ports) {
        if (!runs(view) || view.port.link != 1)
            continue;
        if (view.port.peerMac == platform::MacAddress{}) {
            page.silent.emplace_back(view.port.name.data());
            continue;
        }
        page.peers.push_back(peerOf(view, facts.staticVlans));
        const auto known = facts.daemon.statistics.find(view.port.unit);
        if (known != facts.daemon.statistics.end())
            page.peers.back().heardMs = known->second.lastPduMs;
    }
}

}  // namespace

StatusPage pageOf(const StatusFacts& facts) {
    StatusPage page;
    addVerdict(facts.findings, page);
    addPorts(facts.daemon.ports, page);
    addPeers(facts, page);
    return page;
}

}  // namespace cli
