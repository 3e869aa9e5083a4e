// SPDX-License-Identifier: MIT
#include "cli/commands/make_static.h"

#include "cli/client/names.h"
#include "cli/client/observed.h"
#include "cli/client/port_ranges.h"
#include "cli/client/safe_text.h"
#include "cli/commands/commands.h"
#include "cli/print/json_document.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

namespace {

using platform::formatVlanRanges;
using platform::SwitchChangeKind;
using platform::SwitchChangeRecord;
using platform::VlanBitmap;
using platform::vlanDifference;
using platform::vlanIntersection;
using platform::vlanIsEmpty;

/// What a port has to permit before the VLANs are static there.
VlanBitmap notPermitted(const PortView& port, const VlanBitmap& vlans) {
    return vlanDifference(vlans, port.permitted);
}

/// The kernel does not say who made an entry, and one that is there can not be added again: the
/// daemon has to give its own up first, and learns nothing meanwhile.
std::vector<std::string> bridgeCommands(const std::string& name, const VlanBitmap& vlans) {
    const std::string ranges = formatVlanRanges(vlans);
    std::vector<std::string> commands = {
        "mvrpctl set port " + name + " registration forbidden",
        "mvrpctl wait --port " + name + " --vlan " + ranges + " --gone",
    };
    for (std::size_t start = 0; start < ranges.size();) {
        const std::size_t comma = std::min(ranges.find(',', start), ranges.size());
        commands.push_back("bridge vlan add dev " + name + " vid " +
                           ranges.substr(start, comma - start));
        start = comma + 1;
    }
    commands.push_back("mvrpctl set port " + name + " registration normal");
    return commands;
}

std::vector<std::string> softwareCommands(const PortView& port, const VlanBitmap& vlans) {
    std::vector<std::string> commands;
    const VlanBitmap wanting = notPermitted(port, vlans);
    if (!vlanIsEmpty(wanting))
        commands.push_back(std::string("mvrpctl switch vlan add-port ") + port.port.name.data() +
                           " " + formatVlanRanges(wanting));
    commands.push_back("mvrpctl switch vlan type " + formatVlanRanges(vlans) + " static");
    return commands;
}

void change(Client& client, const SwitchChangeRecord& record) {
    throwIfRefused(client.exchange({platform::Request::SwitchChange, 0, 0, valueOfRecord(record)}));
}

/// What the commands of a software switch say.
void doIt(Client& client, const PortView& port, const VlanBitmap& vlans) {
    SwitchChangeRecord record{};
    record.unit = port.port.unit;
    record.vlans = notPermitted(port, vlans);
    record.kind = static_cast<u32>(SwitchChangeKind::VlanAddPort);
    if (!vlanIsEmpty(record.vlans))
        change(client, record);
    record = {};
    record.kind = static_cast<u32>(SwitchChangeKind::VlanType);
    record.vlans = vlans;
    record.value = static_cast<u32>(QorVlanType::Static);
    change(client, record);
}

void makeStaticCommand(const Context& context) {
    const platform::SwitchPortRecord chosen = context.port(0);
    const std::string name = chosen.name.data();
    const VlanBitmap wanted = context.vlans(std::size_t{1});
    const bool isLinux = queryGlobal(context.client).host.driver ==
                         static_cast<u32>(platform::DriverKind::LinuxBridge);
    if (isLinux && context.has("do"))
        throw UsageError(
            "--do is for the software switch: the bridge is yours to configure; run the commands "
            "that are printed without it");
    const VlansView view = queryVlans(context.client, kMemberParts);
    const auto port = std::ranges::find(view.ports, chosen.unit,
                                        [](const PortView& each) { return each.port.unit; });
    if (port == view.ports.end())
        throw RefusedError(static_cast<u32>(platform::HostStatus::NoSuchPort),
                           "the port " + name + " has just gone");
    const MakeStatic made = makeStatic(view, *port, wanted, isLinux);
    if (vlanIsEmpty(made.vlans))
        throw RefusedError(static_cast<u32>(platform::HostStatus::BadArgument),
                           "none of these VLANs is learnt on " + name + "; learnt there are: " +
                               formatVlanRanges(vlanDifference(port->dynamic, view.staticVlans)));
    if (context.has("do"))
        doIt(context.client, *port, made.vlans);
    if (context.json)
        context.print(makeStaticJson(made, name, context.has("do")));
    else if (!context.has("do"))
        context.print(makeStaticText(made, name));
}

std::string makeStaticDetails() {
    return "Prints commands for a shell, and as comments what else changes; nothing is done. With\n"
           "--do, on a software switch, it is done instead. What is static stays when the "
           "neighbour\n"
           "withdraws it, and is declared on all ports that permit it.";
}

constexpr Command kCommands[] = {
    {"make-static",
     "what turns learnt VLANs of a port into configured ones",
     {{{"port", "name or unit of a port"}, {"vlans", "VLANs as ranges, for example 10-12,20"}}},
     makeStaticCommand,
     makeStaticDetails,
     {{{"--do", nullptr, "do it, on a software switch, and print nothing"}}}},
};

}  // namespace

MakeStatic makeStatic(const VlansView& view, const PortView& port, const VlanBitmap& vlans,
                      bool linux) {
    MakeStatic made;
    made.vlans = vlanDifference(vlanIntersection(vlans, port.dynamic), view.staticVlans);
    made.notLearnt = vlanDifference(vlans, made.vlans);
    if (vlanIsEmpty(made.vlans))
        return made;
    const std::string name = port.port.name.data();
    made.commands = linux ? bridgeCommands(name, made.vlans) : softwareCommands(port, made.vlans);
    for (const PortView& other : view.ports)
        if (other.port.unit != port.port.unit &&
            !vlanIsEmpty(vlanIntersection(made.vlans, other.permitted)))
            made.others.emplace_back(other.port.name.data());
    return made;
}

std::string makeStaticText(const MakeStatic& made, const std::string& port) {
    std::string text;
    if (!vlanIsEmpty(made.notLearnt))
        text += "# not learnt on " + port + ", and left out: " + formatVlanRanges(made.notLearnt) +
                "\n";
    for (const std::string& command : made.commands)
        text += command + "\n";
    if (!made.others.empty())
        text += "# static VLANs are on all ports that permit them, here also on: " +
                portRangesText(made.others) + "\n";
    return text + "# lost at the next start unless the configuration has it, too\n";
}

std::string makeStaticJson(const MakeStatic& made, const std::string& port, bool done) {
    return finished({
        {"name", port},
        {"vlans", formatVlanRanges(made.vlans)},
        {"vlansNotLearnt", formatVlanRanges(made.notLearnt)},
        {"done", done},
        {"commands", made.commands},
        {"otherPorts", made.others},
    });
}

constinit const std::span<const Command> kStaticCommands = kCommands;

}  // namespace cli
