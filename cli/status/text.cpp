// SPDX-License-Identifier: MIT
#include <algorithm>

#include "cli/client/names.h"
#include "cli/client/port_ranges.h"
#include "cli/print/words.h"
#include "cli/status/status.h"
#include "cli/views/text.h"
#include "cli/views/vlan_groups.h"
#include "platform/model/corrections.h"

namespace cli {

namespace {

constexpr std::size_t kPeersShown = 8;
constexpr std::size_t kTitleWidth = 13;  ///< of the longest title, and the gap behind it
constexpr std::size_t kVlansOfAPeer = 30;
constexpr std::size_t kChangeIndent = 4;  ///< of the second line of a change
constexpr const char* kDoctor = "mvrpctl doctor";

std::string counted(u64 count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string verdictText(const StatusPage& page, const Style& style) {
    if (!page.next)
        return style.paint(Colour::Good, "All is well.") +
               (page.notes == 0 ? "" : " " + counted(page.notes, "note") + ": " + kDoctor) + "\n";
    const Finding& next = *page.next;
    const bool isError = next.severity == Severity::Error;
    std::string text = style.paint(isError ? Colour::Bad : Colour::Warn,
                                   wrapList((isError ? "Wrong: " : "Look at this: ") +
                                                next.subject + ": " + next.seen + ".",
                                            2, style.width)) +
                       "\n";
    for (const std::string& command : next.commands)
        text += "  " + style.paint(Colour::Strong, command) + "\n";
    if (page.more != 0)
        text += "  " + counted(page.more, "other finding") + ": " + kDoctor + "\n";
    return text;
}

std::string vlansLine(const platform::VlanBitmap& vlans, const char* kind, std::size_t width) {
    std::string head = std::to_string(countVlans(vlans)) + " " + kind;
    if (countVlans(vlans) == 0)
        return head;
    const std::size_t used = kTitleWidth + head.size() + 2;
    return head + ": " +
           (width == 0 ? platform::formatVlanRanges(vlans)
                       : formatVlansWithin(vlans, width > used ? width - used : 0));
}

void addSwitch(const GlobalView& global, Sheet& sheet) {
    sheet.add("Switch", {std::string(global.host.name.data()), Colour::Strong});
    sheet.add("", nameOf(kDrivers, global.host.driver) + ", " + roleText(global.host) +
                      ", up for " + durationText(global.host.uptimeMs));
    sheet.add("Protocol", {std::string(global.enabled ? "MVRP is on" : "MVRP is off") +
                               (global.compliance ? ", speaking GVRP" : "") + ", " +
                               (global.pendingPairs == 0
                                    ? std::string("nothing waits")
                                    : counted(global.pendingPairs, "change") + " to be applied"),
                           global.enabled ? Colour::Plain : Colour::Bad});
}

void addPorts(const StatusPage& page, Sheet& sheet) {
    const char* title = "Ports";
    for (const PortsAlike& alike : page.ports) {
        sheet.add(title, {std::to_string(alike.names.size()) + " " + alike.condition.text + ": " +
                              portRangesText(alike.names),
                          alike.condition.colour});
        title = "";
    }
    if (page.ports.empty())
        sheet.add(title, {"none", Colour::Dim});
}

std::string peersText(const StatusPage& page, const Style& style) {
    Table table({"Peer on", "Address", "Speaks", "Heard", "Learnt from it"});
    for (std::size_t i = 0; i < page.peers.size() && i < kPeersShown; ++i) {
        const Peer& peer = page.peers[i];
        table.add({peer.port, peer.address, peer.speaks, agoText(peer.heardMs),
                   formatVlansWithin(peer.declared, kVlansOfAPeer)});
    }
    std::string text = table.empty() ? "" : "\n" + table.print(style);
    if (page.peers.size() > kPeersShown)
        text += "and " + std::to_string(page.peers.size() - kPeersShown) +
                " more: mvrpctl show ports\n";
    if (!page.silent.empty())
        text += (text.empty() ? "\n" : "") +
                style.paint(Colour::Dim,
                            wrapList("Nobody is heard on " + portRangesText(page.silent) + ".", 2,
                                     style.width)) +
                "\n";
    return text;
}

std::string changesText(const StatusFacts& facts, const Style& style) {
    if (facts.changes.empty())
        return "";
    PortNames names;
    for (const PortView& view : facts.daemon.ports)
        names[view.port.unit] = view.port.name.data();
    std::string text = "\n" + style.paint(Colour::Strong, "Last changes") + "\n";
    for (const GatheredChange& change : facts.changes) {
        const std::string plain = changeText(change, names, {});
        const bool fits = style.width == 0 || plain.size() <= style.width;
        text += (fits ? changeText(change, names, style)
                      : wrapList(plain, kChangeIndent, style.width)) +
                "\n";
    }
    return text;
}

std::string correctionsText(const GlobalView& global, const Style& style) {
    if (!global.corrections)
        return "";
    u64 acted = 0;
    for (const u64 count : global.corrections->acted)
        acted += count;
    const std::string on =
        platform::formatCorrections(CorrectionSet::ofBits(global.corrections->on));
    Sheet sheet;
    sheet.add("Corrections", on + (acted == 0 ? "" : "; acted " + counted(acted, "time")));
    return "\n" + sheet.print(style);
}

}  // namespace

std::string statusPageText(const StatusFacts& facts, const StatusPage& page, const Style& style) {
    std::string verdict = verdictText(page, style);
    if (facts.daemon.state != DaemonState::Answers)
        return verdict;
    Sheet sheet;
    addSwitch(facts.daemon.global, sheet);
    addPorts(page, sheet);
    sheet.add("VLANs", vlansLine(facts.staticVlans, "static", style.width));
    sheet.add("", vlansLine(facts.learntVlans, "learnt", style.width));
    return verdict + "\n" + sheet.print(style) + peersText(page, style) +
           changesText(facts, style) + correctionsText(facts.daemon.global, style);
}

}  // namespace cli
