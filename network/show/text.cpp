// SPDX-License-Identifier: MIT
#include <array>

#include "cli/print/words.h"
#include "network/show/show.h"
#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

using cli::Cell;
using cli::Colour;
using platform::formatVlanRanges;

constexpr std::array kSeverities = {"note", "warning", "error"};

Colour colourOf(Severity severity) {
    return severity == Severity::Error     ? Colour::Bad
           : severity == Severity::Warning ? Colour::Warn
                                           : Colour::Dim;
}

std::string plural(std::size_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string placeOf(const Finding& finding) {
    return finding.onSwitch + (finding.port.empty() ? "" : ":" + finding.port);
}

std::string vlanText(const VlanBitmap& vlans) {
    return platform::vlanIsEmpty(vlans) ? "" : "VLANs " + formatVlanRanges(vlans);
}

std::string hopText(const Network& network, const Hop& hop, const cli::Style& style) {
    constexpr std::size_t kIndent = 8;
    const std::string ends = nameOf(network, hop.from) + " - " + nameOf(network, hop.to);
    if (hop.carries)
        return "  " + style.paint(Colour::Good, "ok") + "    " + ends + "\n";
    std::string text = "  " + style.paint(Colour::Bad, "STOPS") + " " + ends + "\n";
    const auto add = [&](const std::string& line) {
        if (!line.empty())
            text += std::string(kIndent, ' ') + cli::wrapList(line, kIndent, style.width) + "\n";
    };
    if (hop.stopped) {
        add(hop.stopped->text + ".");
        add(nameOf(network, hop.wordsAt) + ": " + hop.words);
        add(hop.advice);
    }
    return text;
}

}  // namespace

std::string evidenceText(const Evidence& evidence) {
    std::string text;
    const auto add = [&text](bool holds, const char* words) {
        if (holds)
            text += (text.empty() ? "" : ", ") + std::string(words);
    };
    add(evidence.bothWays(), "heard both ways");
    add(evidence.heardAtA != evidence.heardAtB, "heard at one end only");
    add(evidence.remembered && !evidence.heardAtA && !evidence.heardAtB, "heard before");
    add(evidence.lldp, "LLDP");
    add(evidence.configured, "configured");
    return text;
}

std::string topologyText(const Network& network, const cli::Style& style) {
    cli::Table cables({"Cable", "Known by"});
    for (const Cable& cable : network.cables)
        cables.add(
            {nameOf(network, cable), Cell(evidenceText(cable.evidence),
                                          cable.evidence.isSure() ? Colour::Plain : Colour::Warn)});
    cli::Table strangers({"Port", "Neighbour without a snapshot", "Speaks"});
    for (const Stranger& stranger : network.strangers)
        strangers.add({nameOf(network, stranger.port),
                       macText(stranger.mac) + (stranger.lost ? " (not heard any more)" : ""),
                       stranger.gvrp ? "GVRP" : "MVRP"});
    return plural(network.switches.size(), "switch", "switches") + ", " +
           plural(network.cables.size(), "cable", "cables") + "\n" +
           (cables.empty() ? "" : "\n" + cables.print(style)) +
           (strangers.empty() ? "" : "\n" + strangers.print(style));
}

std::string findingsText(const Network& network, const std::vector<Finding>& findings,
                         const cli::Style& style) {
    std::string text;
    for (const Finding& finding : findings) {
        const std::string severity = kSeverities.at(static_cast<std::size_t>(finding.severity));
        text += style.paint(colourOf(finding.severity), severity) + "  " + placeOf(finding) + "  " +
                vlanText(finding.vlans) + "\n";
        text += "    " + cli::wrapList(finding.text + ".", 4, style.width) + "\n";
        if (!finding.cable.empty())
            text += "    Cable: " + finding.cable + "\n";
        for (const std::string& command : finding.commands)
            text += "    On " + finding.onSwitch + ": " + command + "\n";
    }
    return text + (findings.empty() ? "Nothing to do: " : "\n") +
           plural(network.switches.size(), "switch", "switches") + ", " +
           plural(network.cables.size(), "cable", "cables") + ", " +
           plural(findings.size(), "finding", "findings") + "\n";
}

std::string explainText(const Network& network, const Explained& explained,
                        const cli::Style& style) {
    std::string names;
    for (const std::string& name : explained.wanted)
        names += (names.empty() ? "" : ", ") + name;
    std::string text = "VLAN " + std::to_string(explained.vid) + " is wanted on: " +
                       cli::wrapList(names.empty() ? "no switch" : names, 4, style.width) + "\n";
    for (const Way& way : explained.ways) {
        text += "\n" + style.paint(Colour::Strong, way.from + " to " + way.to) + ": " +
                (way.hops.empty() ? "no way of cables is known"
                 : way.whole      ? "connected"
                                  : "not connected") +
                "\n";
        for (const Hop& hop : way.hops) {
            text += hopText(network, hop, style);
            if (!hop.carries)
                break;
        }
    }
    return text;
}

std::string differencesText(const std::vector<Difference>& differences, const cli::Style& style) {
    if (differences.empty())
        return "Nothing is different.\n";
    cli::Table table({"Where", "What", "Before", "After"});
    for (const Difference& found : differences)
        table.add({found.where, found.what, found.before.empty() ? "-" : found.before,
                   found.after.empty() ? "-" : found.after});
    return table.print(style);
}

}  // namespace network
