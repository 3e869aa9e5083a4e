// SPDX-License-Identifier: MIT
#include "cli/views/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "cli/client/names.h"
#include "cli/client/port_ranges.h"
#include "cli/print/words.h"
#include "platform/contract/qor_if.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/corrections.h"

namespace cli {

namespace {

using platform::formatVlanRanges;

constexpr std::size_t kRangesWidth = 22;
constexpr u32 kMvrpProtocolBit = 1;

Cell onOff(bool on) {
    return on ? Cell("on", Colour::Good) : Cell("off", Colour::Dim);
}

Cell linkCell(const platform::SwitchPortRecord& port) {
    return port.link == 1 ? Cell("up", Colour::Good) : Cell("down", Colour::Bad);
}

bool isZero(const std::array<u8, 6>& mac) {
    return std::ranges::all_of(mac, [](u8 byte) { return byte == 0; });
}

std::string orDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return orDash(text);
}

std::string listed(const std::vector<std::string>& names) {
    return portRangesText(names, " ");
}

std::string uptimeText(u64 ms) {
    const u64 seconds = ms / 1000;
    const u64 minutes = seconds / 60;
    const u64 hours = minutes / 60;
    if (hours == 0)
        return minutes == 0
                   ? std::to_string(seconds) + " s"
                   : std::to_string(minutes) + " min " + std::to_string(seconds % 60) + " s";
    return std::to_string(hours) + " h " + std::to_string(minutes % 60) + " min";
}

std::string peerText(const platform::SwitchPortRecord& port) {
    if (isZero(port.peerMac))
        return "not heard yet";
    const std::string form = port.heardForm == 0 ? ""
                                                 : ", MVRP frames in the " +
                                                       nameOf(kWireForms, port.heardForm) + " form";
    return formatMac(port.peerMac) + form;
}

std::string timersText(const PortSettings& settings) {
    return "join " + std::to_string(settings.joinTime) + " ms, leave " +
           std::to_string(settings.leaveTime) + " ms, leave-all " +
           std::to_string(settings.leaveAllTime) + " ms, periodic " +
           (settings.periodicTime == 0 ? "off" : std::to_string(settings.periodicTime) + " ms");
}

/// What holds a port back from running the protocol, or that it runs.
Cell mvrpCell(const PortView& view) {
    if (view.settings && view.settings->enabled)
        return {"on", Colour::Good};
    if (view.port.eligible == 0)
        return {"not eligible", Colour::Dim};
    return {"off", Colour::Dim};
}

/// Columns for each of the three lists of VLANs in a listing of ports: what the other columns
/// leave.
std::size_t rangesWidth(const std::vector<PortView>& ports, const Style& style) {
    constexpr std::size_t kOthers = 52;  ///< unit, link, modes, and the gaps between all
    constexpr std::size_t kLeast = 10;
    if (style.width == 0)
        return kRangesWidth;
    std::size_t name = 0;
    for (const PortView& view : ports)
        name = std::max(name, std::string_view(view.port.name.data()).size());
    const std::size_t left = style.width > kOthers + name ? style.width - kOthers - name : 0;
    return std::clamp(left / 3, kLeast, kRangesWidth);
}

/// How ports stand to a VLAN, in the words of the table, and the ports that stand alike.
using Standing = std::pair<std::vector<std::string>, std::vector<std::string>>;

/// @param idle  whether ports where the VLAN is not in use are wanted, too
std::vector<Standing> standings(u32 vid, const VlansView& view, bool idle) {
    const auto yesNo = [vid](const platform::VlanBitmap& vlans) {
        return std::string(platform::vlanContains(vlans, vid) ? "yes" : "no");
    };
    std::vector<Standing> standings;
    for (const PortView& port : view.ports) {
        if (port.machines.size() < vid)
            continue;
        const platform::MachineRecord& machine = port.machines[vid - 1];
        if (!idle && !inUse(machine))
            continue;
        std::vector<std::string> words = {nameOf(kApplicantStates, machine.applicant),
                                          nameOf(kRegistrarStates, machine.registrar),
                                          yesNo(port.registered), yesNo(port.declared),
                                          yesNo(port.propagated)};
        auto found = std::ranges::find(standings, words, &Standing::first);
        if (found == standings.end())
            found = standings.emplace(standings.end(), std::move(words), Standing::second_type());
        found->second.emplace_back(port.port.name.data());
    }
    return standings;
}

}  // namespace

std::string roleText(const platform::HostInfoRecord& host) {
    const std::string role = nameOf(kRoles, host.role);
    return role + ", " + (host.standbyConnected != 0 ? "peer connected" : "no peer");
}

std::string formatVlansWithin(const platform::VlanBitmap& vlans, std::size_t width) {
    std::string text = formatVlanRanges(vlans);
    if (text.size() <= width)
        return text;
    const std::string tail = "... (" + std::to_string(countVlans(vlans)) + ")";
    const std::size_t room = width > tail.size() ? width - tail.size() : 0;
    const std::size_t comma = room == 0 ? std::string::npos : text.rfind(',', room - 1);
    text.resize(comma == std::string::npos ? 0 : comma + 1);
    return text + tail;
}

std::string globalText(const GlobalView& view, const Style& style) {
    Sheet sheet;
    sheet.add("Switch", {orDash(view.host.name.data()), Colour::Strong});
    sheet.add("Driver", nameOf(kDrivers, view.host.driver));
    sheet.add("Role", roleText(view.host));
    sheet.add("Ports", std::to_string(view.host.portCount));
    sheet.add("MVRP", onOff(view.enabled));
    sheet.add("GVRP compliance", onOff(view.compliance));
    sheet.add("Pending changes", std::to_string(view.pendingPairs));
    sheet.add("Debug", formatDebugMask(view.debugMask));
    if (view.corrections)
        sheet.add("Corrections",
                  platform::formatCorrections(CorrectionSet::ofBits(view.corrections->on)));
    sheet.add("Protocol release", orDash(view.version));
    sheet.add("Up for", uptimeText(view.host.uptimeMs));
    return sheet.print(style);
}

std::string portsText(const std::vector<PortView>& ports, const Style& style) {
    const std::size_t ranges = rangesWidth(ports, style);
    Table table({">Unit", "Name", "Link", "MVRP", "Registration", "Participant", "Registered",
                 "Declared", "Learnt"});
    for (const PortView& view : ports) {
        const bool runs = view.settings.has_value();
        table.add(
            {std::to_string(view.port.unit), view.port.name.data(), linkCell(view.port),
             mvrpCell(view), runs ? nameOf(kRegistrationModes, view.settings->registration) : "-",
             runs ? nameOf(kParticipantModes, view.settings->participant) : "-",
             formatVlansWithin(view.registered, ranges), formatVlansWithin(view.declared, ranges),
             formatVlansWithin(view.dynamic, ranges)});
    }
    return table.empty() ? "The switch has no ports.\n" : table.print(style);
}

std::string portText(const PortView& view, const Style& style) {
    const platform::SwitchPortRecord& port = view.port;
    Sheet sheet;
    sheet.add("Port", {std::to_string(port.unit) + " " + port.name.data(), Colour::Strong});
    sheet.add("Link", linkCell(port));
    if (port.loopWith != 0)
        sheet.add("Loop", {"port " + std::to_string(port.loopWith) +
                               " of this switch is at the other end: the port takes no part",
                           Colour::Bad});
    sheet.add("Cable", port.cableError == 0
                           ? orDash(port.cable.data())
                           : Cell{std::string(port.cable.data()) + ", " + cableErrorText(port),
                                  Colour::Bad});
    sheet.add("Address", formatMac(port.mac) + ", MTU " + std::to_string(port.mtu));
    if (port.endType == static_cast<u32>(QorEndType::Aggregation))
        sheet.add("Kind", "aggregation");
    if (port.aggregation != 0)
        sheet.add("Member of", "aggregation " + std::to_string(port.aggregation));
    sheet.add("PVID", std::to_string(port.pvid));
    sheet.add("MVRP", mvrpCell(view));
    sheet.add("Speaks", (port.protocols & kMvrpProtocolBit) == 0 ? "nothing"
                        : port.protocols == kMvrpProtocolBit
                            ? "MVRP, wire form " + nameOf(kWireForms, port.wireForm)
                            : "GVRP");
    sheet.add("Peer", peerText(port));
    if (view.settings) {
        sheet.add("Registration", nameOf(kRegistrationModes, view.settings->registration));
        sheet.add("Participant", nameOf(kParticipantModes, view.settings->participant));
        sheet.add("Timers", timersText(*view.settings));
        sheet.add("VLANs registered", formatVlanRanges(view.registered));
        sheet.add("VLANs declared", formatVlanRanges(view.declared));
        sheet.add("VLANs propagated", formatVlanRanges(view.propagated));
    }
    sheet.add("VLANs learnt", formatVlanRanges(view.dynamic));
    sheet.add("VLANs permitted", formatVlanRanges(view.permitted));
    return sheet.print(style);
}

std::string vlansText(const std::vector<VlanGroup>& groups, const Style& style) {
    Table table({"Kind", "Static members", "Learnt members", "VLANs"});
    for (const VlanGroup& group : groups) {
        // A permit list says what may be carried; it makes members only of static VLANs.
        const bool isStatic = group.kind == static_cast<u32>(QorVlanType::Static);
        std::vector<std::string> members = portRanges(group.taggedPorts);
        for (const std::string& range : portRanges(group.untaggedPorts))
            members.push_back(range + "(untagged)");
        table.add({{nameOf(kVlanKinds, group.kind), isStatic ? Colour::Plain : Colour::Good},
                   isStatic ? joined(members) : "-",
                   listed(group.dynamicPorts),
                   formatVlanRanges(group.vlans)});
    }
    return table.print(style);
}

std::string vlanText(u32 vid, const VlansView& view, const Style& style) {
    const std::vector<VlanGroup> groups = groupVlans(view, vid);
    Sheet sheet;
    sheet.add("VLAN", {std::to_string(vid), Colour::Strong});
    if (groups.empty()) {
        sheet.add("Kind",
                  {"does not exist on this switch: neither created here nor learnt", Colour::Dim});
    } else {
        sheet.add("Kind", nameOf(kVlanKinds, groups.front().kind));
        sheet.add("Permitted tagged", listed(groups.front().taggedPorts));
        sheet.add("Permitted untagged", listed(groups.front().untaggedPorts));
        sheet.add("Learnt members", listed(groups.front().dynamicPorts));
    }
    Table table({"Ports", "Applicant", "Registrar", "Registered", "Declared", "Propagated"});
    for (const auto& [words, names] : standings(vid, view, !groups.empty())) {
        std::vector<Cell> row = {listed(names)};
        row.insert(row.end(), words.begin(), words.end());
        table.add(std::move(row));
    }
    return sheet.print(style) + (table.empty() ? "" : "\n" + table.print(style));
}

std::string stateText(const std::vector<StateGroup>& groups, u32 leaveTimeLeftMs,
                      const Style& style) {
    std::string text;
    for (const StateGroup& group : groups) {
        const platform::MachineRecord& machine = group.machine;
        std::string registrar =
            nameOf(kRegistrarStates, machine.registrar) + "  " + registrarWords(machine);
        if (isLeaving(machine))
            registrar += leaveTimeLeftMs == 0 ? " (due)"
                                              : " (about " + durationText(leaveTimeLeftMs) +
                                                    " of the leave time left)";
        Sheet sheet;
        sheet.add("VLANs", {formatVlanRanges(group.vlans), Colour::Strong});
        sheet.add("  Applicant", nameOf(kApplicantStates, machine.applicant) + "  " +
                                     applicantWords(machine.applicant));
        sheet.add("  Registrar", {registrar, isLeaving(machine) ? Colour::Warn : Colour::Plain});
        sheet.add("  Propagated", isPropagated(machine)
                                      ? "yes  declared here because another port registered it"
                                      : "no");
        text += (text.empty() ? "" : "\n") + sheet.print(style);
    }
    return text.empty() ? "No VLAN is in use on this port.\n" : text;
}

std::string countersText(const std::vector<PortView>& ports, const Style& style) {
    Table table({"Port", ">Frames in", ">out", ">Bytes in", ">out", ">Forwarded", ">Ignored",
                 ">Malformed", ">Overflow", ">Not enabled", ">Tunnelled", ">Over budget", ">Looped",
                 ">Send failed"});
    for (const PortView& view : ports) {
        const platform::PortCountersRecord& c = view.counters;
        const auto bad = [](u64 count) {
            return Cell(std::to_string(count), count == 0 ? Colour::Plain : Colour::Bad);
        };
        table.add({view.port.name.data(), std::to_string(c.framesIn), std::to_string(c.framesOut),
                   std::to_string(c.bytesIn), std::to_string(c.bytesOut),
                   std::to_string(c.forwarded), std::to_string(c.ignored), bad(c.droppedMalformed),
                   bad(c.droppedOverflow), std::to_string(c.droppedDisabled),
                   std::to_string(c.droppedTunnel), bad(c.droppedBudget), bad(c.droppedLoop),
                   bad(c.sendFailed)});
    }
    return table.empty() ? "The switch has no ports.\n" : table.print(style);
}

}  // namespace cli
