// SPDX-License-Identifier: MIT
//
// `mvrpctl repair`: the neighbours of ports declare again, and what does not go together there is
// brought together.
#include <algorithm>
#include <cstring>

#include "cli/client/safe_text.h"
#include "cli/commands/commands.h"
#include "cli/doctor/doctor.h"
#include "cli/print/json_document.h"
#include "platform/model/vlan_algebra.h"

namespace cli {
namespace {

using platform::SwitchChangeRecord;
using platform::VlanBitmap;

/// A port, and what of it the daemon and the switch do not agree on.
struct Repair {
    platform::SwitchPortRecord port{};
    VlanBitmap putBack{};   ///< registered, and not on the port
    VlanBitmap takenOff{};  ///< learnt and on the port, and registered by nobody
};

/// Looked at before anything is asked: the answer of the neighbours would hide it.
std::vector<Repair> repairsOf(const Context& context) {
    Client& client = context.client;
    const GlobalView global = queryGlobal(client);
    const std::vector<PortView> views = queryPorts(client, queryPortList(client));
    const std::map<u32, PortGaps> gaps = lastingGaps(client, views);
    std::vector<Repair> repairs;
    for (const platform::SwitchPortRecord& port : context.ports(0)) {
        Repair& repair = repairs.emplace_back();
        repair.port = port;
        const auto found = gaps.find(port.unit);
        const auto view = std::ranges::find(views, port.unit,
                                            [](const PortView& each) { return each.port.unit; });
        if (found == gaps.end() || view == views.end() || !view->settings)
            continue;
        repair.putBack = platform::vlanIntersection(found->second.unmembered, view->permitted);
        if (!isBeingCleared(*view, global))
            repair.takenOff = found->second.unregistered;
    }
    return repairs;
}

void askFor(Client& client, const Repair& repair) {
    SwitchChangeRecord record{};
    record.kind = static_cast<u32>(platform::SwitchChangeKind::PortRepair);
    record.unit = repair.port.unit;
    record.vlans = platform::vlanUnion(repair.putBack, repair.takenOff);
    const auto bytes = std::as_bytes(std::span(&record, 1));
    const Reply reply =
        client.exchange({platform::Request::SwitchChange, 0, 0, {bytes.begin(), bytes.end()}});
    if (reply.status != kStatusOk)
        throw RefusedError(reply.status,
                           std::string(repair.port.name.data()) + ": " +
                               (textOf(reply).empty() ? statusText(reply.status) : textOf(reply)));
}

std::string repairText(const Repair& repair) {
    const std::string name = repair.port.name.data();
    std::string text = name + ": the neighbours are asked to declare again\n";
    if (!platform::vlanIsEmpty(repair.putBack))
        text += name + ": registered, and not on the port; put there when declared again: " +
                platform::formatVlanRanges(repair.putBack) + "\n";
    if (!platform::vlanIsEmpty(repair.takenOff))
        text += name + ": on the port, and registered by nobody; taken off: " +
                platform::formatVlanRanges(repair.takenOff) + "\n";
    return text;
}

std::string repairJson(const std::vector<Repair>& repairs) {
    Json ports = Json::array();
    for (const Repair& repair : repairs)
        ports.push_back({{"name", repair.port.name.data()},
                         {"unit", repair.port.unit},
                         {"vlansPutBack", platform::formatVlanRanges(repair.putBack)},
                         {"vlansTakenOff", platform::formatVlanRanges(repair.takenOff)}});
    return finished({{"ports", ports}});
}

void repairCommand(const Context& context) {
    const std::vector<Repair> repairs = repairsOf(context);
    for (const Repair& repair : repairs)
        askFor(context.client, repair);
    if (context.json)
        return context.print(repairJson(repairs));
    for (const Repair& repair : repairs)
        context.print(repairText(repair));
}

std::string repairDetails() {
    return "The neighbours are asked for all that they declare (a LeaveAll that both ends hear), "
           "so what\n"
           "either of them had lost is there again within a second, and what nobody declares any "
           "more\n"
           "goes. What is registered and not on the port, or the other way round, is settled. On a "
           "Linux\n"
           "bridge entries and guards that others removed are put back at once, however often "
           "they did.";
}

constexpr Command kCommands[] = {
    {"repair",
     "ask the neighbours of ports to declare again, and settle what is on the ports",
     {{{"port", "names or units of ports, as lists and ranges, too", false, true}}},
     repairCommand,
     repairDetails},
};

}  // namespace

std::string repairOf(const std::string& ports) {
    return "mvrpctl repair " + ports;
}

constinit const std::span<const Command> kRepairCommands = kCommands;

}  // namespace cli
