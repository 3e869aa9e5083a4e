// SPDX-License-Identifier: MIT
#include "cli/views/running.h"

#include "cli/client/names.h"
#include "cli/print/words.h"
#include "cli/views/vlan_groups.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

namespace {

using platform::formatVlanRanges;
using platform::VlanBitmap;
using platform::vlanDifference;
using platform::vlanIntersection;
using platform::vlanIsEmpty;
using platform::vlanUnion;

Cell differences(const RunningPort& port) {
    std::string text;
    if (!vlanIsEmpty(port.missing))
        text = "! registered, not in the switch: " + formatVlanRanges(port.missing);
    if (!vlanIsEmpty(port.extra))
        text += std::string(text.empty() ? "" : "; ") +
                "! in the switch, no longer registered: " + formatVlanRanges(port.extra);
    return text.empty() ? Cell("none", Colour::Dim) : Cell(text, Colour::Warn);
}

std::string counted(const VlanBitmap& vlans) {
    return std::to_string(countVlans(vlans));
}

}  // namespace

Cell conditionOf(const PortView& view) {
    const bool up = view.port.link == 1;
    const bool on = view.settings && view.settings->enabled;
    const std::string text = std::string(up ? "link up" : "link down") +
                             (on                        ? ", MVRP on"
                              : view.port.eligible == 0 ? ", not eligible for MVRP"
                                                        : ", MVRP off");
    return {text, !up ? Colour::Bad : on ? Colour::Good : Colour::Dim};
}

std::vector<RunningPort> compareRunning(VlansView view) {
    std::vector<RunningPort> ports;
    for (PortView& port : view.ports) {
        RunningPort running;
        running.inSwitch =
            vlanUnion(vlanIntersection(port.permitted, view.staticVlans), port.dynamic);
        running.missing = vlanDifference(port.registered, running.inSwitch);
        running.extra = vlanDifference(port.dynamic, port.registered);
        running.view = std::move(port);
        ports.push_back(std::move(running));
    }
    return ports;
}

std::string runningText(const std::vector<RunningPort>& ports, const Style& style) {
    std::string text;
    for (const RunningPort& port : ports) {
        Sheet sheet;
        const Cell condition = conditionOf(port.view);
        text += (text.empty() ? "" : "\n") +
                style.paint(Colour::Strong, port.view.port.name.data()) + " (unit " +
                std::to_string(port.view.port.unit) +
                "): " + style.paint(condition.colour, condition.text) + "\n";
        sheet.add("  Registered", formatVlanRanges(port.view.registered));
        sheet.add("  Declared", formatVlanRanges(port.view.declared));
        sheet.add("  Propagated", formatVlanRanges(port.view.propagated));
        sheet.add("  In the switch", formatVlanRanges(port.inSwitch));
        sheet.add("  of these learnt", formatVlanRanges(port.view.dynamic));
        sheet.add("  Differences", differences(port));
        text += sheet.print(style);
    }
    return text.empty() ? "The switch has no ports.\n" : text;
}

std::string summaryText(const std::vector<RunningPort>& ports, const Style& style) {
    Table table(
        {">Unit", "Name", "State", ">Registered", ">Declared", ">Learnt", ">In switch", ">Differ"});
    for (const RunningPort& port : ports) {
        const std::size_t differ = countVlans(port.missing) + countVlans(port.extra);
        table.add({std::to_string(port.view.port.unit),
                   port.view.port.name.data(),
                   conditionOf(port.view),
                   counted(port.view.registered),
                   counted(port.view.declared),
                   counted(port.view.dynamic),
                   counted(port.inSwitch),
                   {std::to_string(differ), differ == 0 ? Colour::Dim : Colour::Warn}});
    }
    return table.empty() ? "The switch has no ports.\n" : table.print(style);
}

std::string configText(const GlobalView& global, const std::vector<PortView>& ports,
                       const Style& style) {
    Sheet sheet;
    sheet.add("Switch", {global.host.name.data(), Colour::Strong});
    sheet.add("MVRP", global.enabled ? Cell("on", Colour::Good) : Cell("off", Colour::Dim));
    sheet.add("GVRP compliance", global.compliance ? "on" : "off");
    std::string text = sheet.print(style) + "\n";
    Table table({"Port", "MVRP", "Registration", "Participant", ">Join", ">Leave", ">Leave-all",
                 ">Periodic", ">PVID"});
    for (const PortView& view : ports) {
        const auto& settings = view.settings;
        const auto ms = [&settings](u32 PortSettings::*field) {
            return settings ? std::to_string((*settings).*field) : std::string("-");
        };
        const bool on = settings && settings->enabled;
        table.add({view.port.name.data(), on ? Cell("on", Colour::Good) : Cell("off", Colour::Dim),
                   settings ? nameOf(kRegistrationModes, settings->registration) : "-",
                   settings ? nameOf(kParticipantModes, settings->participant) : "-",
                   ms(&PortSettings::joinTime), ms(&PortSettings::leaveTime),
                   ms(&PortSettings::leaveAllTime), ms(&PortSettings::periodicTime),
                   std::to_string(view.port.pvid)});
    }
    if (table.empty())
        return text + "The switch has no ports.\n";
    text += table.print(style) + "\nTimes in milliseconds. Permit lists:\n";
    Sheet lists;
    for (const PortView& view : ports) {
        VlanBitmap untagged = vlanDifference(view.permitted, view.permittedTagged);
        lists.add(std::string("  ") + view.port.name.data(),
                  "tagged " + formatVlanRanges(view.permittedTagged) + ", untagged " +
                      formatVlanRanges(untagged));
    }
    return text + lists.print(style);
}

}  // namespace cli
