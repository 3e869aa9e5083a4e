// SPDX-License-Identifier: MIT
#include "cli/client/names.h"
#include "cli/print/json_document.h"
#include "cli/print/words.h"
#include "cli/status/status.h"
#include "cli/views/corrections.h"
#include "cli/watch/change_stream.h"

namespace cli {

namespace {

using platform::formatVlanRanges;

Json nextOf(const StatusPage& page) {
    if (!page.next)
        return nullptr;
    return {
        {"severity", page.next->severity == Severity::Error ? "error" : "warning"},
        {"id", page.next->id},
        {"subject", page.next->subject},
        {"seen", page.next->seen},
        {"commands", page.next->commands},
    };
}

Json switchOf(const GlobalView& global) {
    return {
        {"name", global.host.name.data()},
        {"driver", nameOf(kDrivers, global.host.driver)},
        {"role", nameOf(kRoles, global.host.role)},
        {"standbyConnected", global.host.standbyConnected != 0},
        {"uptime", global.host.uptimeMs},
        {"mvrpEnabledStatus", global.enabled},
        {"gvrpCompliance", global.compliance},
        {"pendingChanges", global.pendingPairs},
    };
}

Json portsOf(const StatusPage& page) {
    Json list = Json::array();
    for (const PortsAlike& alike : page.ports)
        list.push_back({{"condition", alike.condition.text},
                        {"linkUp", alike.linkUp},
                        {"portMvrpEnabledStatus", alike.runs},
                        {"names", alike.names}});
    return list;
}

Json peersOf(const StatusPage& page) {
    Json list = Json::array();
    for (const Peer& peer : page.peers)
        list.push_back({
            {"name", peer.port},
            {"portMvrpLastPduOrigin", peer.address},
            {"speaks", peer.speaks},
            {"lastPduAge", peer.heardMs == platform::kNever ? Json(nullptr) : Json(peer.heardMs)},
            {"vlansLearnt", formatVlanRanges(peer.declared)},
        });
    return list;
}

Json changesOf(const StatusFacts& facts) {
    Json list = Json::array();
    for (const auto& [change, vlans] : facts.changes)
        list.push_back({
            {"sequence", change.sequence},
            {"time", change.timeMs},
            {"change", changeName(change.kind)},
            {"port", change.unit == 0 ? Json(nullptr) : Json(change.unit)},
            {"vlans", change.firstVid == 0 ? Json(nullptr) : Json(formatVlanRanges(vlans))},
        });
    return list;
}

/// Those that are on.
Json correctionsOf(const GlobalView& global) {
    if (!global.corrections)
        return nullptr;
    Json names = Json::array();
    for (u32 value = 0; value < kCorrectionCount; ++value)
        if (isOn(global, static_cast<Correction>(value)))
            names.push_back(std::string(kCorrectionNames[value]));
    return names;
}

}  // namespace

std::string statusPageJson(const StatusFacts& facts, const StatusPage& page) {
    const bool answers = facts.daemon.state == DaemonState::Answers;
    return finished({
        {"well", !page.next},
        {"next", nextOf(page)},
        {"otherFindings", page.more},
        {"notes", page.notes},
        {"switch", answers ? switchOf(facts.daemon.global) : Json(nullptr)},
        {"ports", portsOf(page)},
        {"vlansStatic", formatVlanRanges(facts.staticVlans)},
        {"vlansLearnt", formatVlanRanges(facts.learntVlans)},
        {"peers", peersOf(page)},
        {"silentPorts", page.silent},
        {"changes", changesOf(facts)},
        {"corrections", correctionsOf(facts.daemon.global)},
    });
}

}  // namespace cli
