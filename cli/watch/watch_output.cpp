// SPDX-License-Identifier: MIT
#include "cli/watch/watch_output.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "cli/client/names.h"
#include "cli/print/json_document.h"
#include "cli/print/words.h"
#include "cli/watch/change_stream.h"

namespace cli {

namespace {

using platform::ChangeKind;
using platform::ChangeRecord;
using platform::MachineRecord;

constexpr const char* kSwitch = "switch";  ///< in place of a port, for what is not about one

std::string vlansOf(const ChangeRecord& change) {
    return platform::formatVlanRanges(platform::vlanRange(change.firstVid, change.lastVid));
}

std::string nameOfPort(u32 unit, const PortNames& names) {
    const auto found = names.find(unit);
    return found == names.end() ? "port " + std::to_string(unit) : found->second;
}

Json machineOf(const MachineRecord& machine) {
    return {
        {"applicant", nameOf(kApplicantStates, machine.applicant)},
        {"registrar", nameOf(kRegistrarStates, machine.registrar)},
        {"registered", isRegistered(machine)},
        {"declared", isDeclaring(machine.applicant)},
        {"propagated", isPropagated(machine)},
    };
}

std::string machineText(const MachineRecord& machine) {
    return inUse(machine) ? nameOf(kApplicantStates, machine.applicant) + "/" +
                                nameOf(kRegistrarStates, machine.registrar)
                          : "idle";
}

struct Words {
    std::string text;
    Colour colour;
};

Words stateWords(const ChangeRecord& change, const std::string& vlans) {
    const bool wasRegistered = isRegistered(change.before);
    const bool registered = isRegistered(change.after);
    if (registered != wasRegistered)
        return {vlans + (registered ? " registered" : " no longer registered"),
                registered ? Colour::Good : Colour::Bad};
    const bool declares = isDeclaring(change.after.applicant);
    if (declares != isDeclaring(change.before.applicant))
        return {vlans + (declares ? " declared" : " no longer declared"), Colour::Plain};
    return {vlans + " " + machineText(change.before) + " -> " + machineText(change.after),
            Colour::Dim};
}

Words words(const ChangeRecord& change, const std::string& vlans) {
    switch (static_cast<ChangeKind>(change.kind)) {
        case ChangeKind::PortAdded:
            return {"the port is there", Colour::Good};
        case ChangeKind::PortRemoved:
            return {"the port is gone", Colour::Bad};
        case ChangeKind::LinkUp:
            return {"link up", Colour::Good};
        case ChangeKind::LinkDown:
            return {"link down", Colour::Bad};
        case ChangeKind::ProtocolOn:
            return {"takes part in the protocol", Colour::Good};
        case ChangeKind::ProtocolOff:
            return {"no longer takes part in the protocol", Colour::Bad};
        case ChangeKind::MemberAdded:
            return {vlans + " came onto the port", Colour::Good};
        case ChangeKind::MemberRemoved:
            return {vlans + " left the port", Colour::Bad};
        case ChangeKind::MemberRefused:
            return {vlans + " not taken by the switch", Colour::Bad};
        case ChangeKind::VlanLearnt:
            return {"learnt VLANs created: " + vlans, Colour::Good};
        case ChangeKind::VlanLearntGone:
            return {"learnt VLANs deleted: " + vlans, Colour::Bad};
        case ChangeKind::VlanStatic:
            return {"static VLANs: " + vlans, Colour::Good};
        case ChangeKind::VlanStaticGone:
            return {"no longer static VLANs: " + vlans, Colour::Bad};
        case ChangeKind::Machine:
            return stateWords(change, vlans);
    }
    return {"unknown change", Colour::Dim};
}

bool isAlike(const MachineRecord& a, const MachineRecord& b) {
    return a.applicant == b.applicant && a.registrar == b.registrar && a.flags == b.flags;
}

/// Width of the column of names, so that what happened stands below each other.
std::size_t columnOf(const PortNames& names) {
    constexpr std::size_t kWidest = 16;
    std::size_t width = std::string_view(kSwitch).size();
    for (const auto& [unit, name] : names)
        width = std::max(width, std::min(name.size(), kWidest));
    return width;
}

}  // namespace

std::string clockText(u64 timeMs) {
    const auto seconds = static_cast<std::time_t>(timeMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 32> text{};
    const std::size_t used = std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    std::snprintf(text.data() + used, text.size() - used, ".%03u",
                  static_cast<unsigned>(timeMs % 1000));
    return text.data();
}

bool isNotable(const ChangeRecord& change) {
    return static_cast<ChangeKind>(change.kind) != ChangeKind::Machine ||
           isRegistered(change.before) != isRegistered(change.after) ||
           isDeclaring(change.before.applicant) != isDeclaring(change.after.applicant);
}

std::vector<GatheredChange> gather(const std::vector<ChangeRecord>& changes) {
    constexpr u64 kTogetherMs = 100;
    std::vector<GatheredChange> gathered;
    for (const ChangeRecord& change : changes) {
        const auto same = [&change](const GatheredChange& other) {
            return other.change.kind == change.kind && other.change.unit == change.unit &&
                   change.firstVid != 0 && change.timeMs - other.change.timeMs <= kTogetherMs &&
                   isAlike(other.change.before, change.before) &&
                   isAlike(other.change.after, change.after);
        };
        auto found = std::ranges::find_if(gathered, same);
        if (found == gathered.end())
            found = gathered.insert(gathered.end(), {change, {}});
        for (u32 vid = change.firstVid; vid <= change.lastVid; ++vid)
            platform::vlanInsert(found->vlans, vid);
    }
    return gathered;
}

std::string changeText(const ChangeRecord& change, const PortNames& names, const Style& style) {
    return changeText({change, platform::vlanRange(change.firstVid, change.lastVid)}, names, style);
}

std::string changeText(const GatheredChange& gathered, const PortNames& names, const Style& style) {
    const ChangeRecord& change = gathered.change;
    const Words said = words(change, platform::formatVlanRanges(gathered.vlans));
    std::string who = change.unit == 0 ? kSwitch : nameOfPort(change.unit, names);
    who.resize(std::max(who.size(), columnOf(names)), ' ');
    return style.paint(Colour::Dim, clockText(change.timeMs)) + "  " + who + "  " +
           style.paint(said.colour, said.text);
}

std::string changeJson(const ChangeRecord& change, const PortNames& names) {
    const bool machine = static_cast<ChangeKind>(change.kind) == ChangeKind::Machine;
    return finishedLine({
        {"type", "change"},
        {"sequence", change.sequence},
        {"time", change.timeMs},
        {"change", changeName(change.kind)},
        {"port", change.unit == 0 ? Json(nullptr) : Json(change.unit)},
        {"name", change.unit == 0 ? Json(nullptr) : Json(nameOfPort(change.unit, names))},
        {"vlans", change.firstVid == 0 ? Json(nullptr) : Json(vlansOf(change))},
        {"before", machine ? machineOf(change.before) : Json(nullptr)},
        {"after", machine ? machineOf(change.after) : Json(nullptr)},
    });
}

std::string snapshotJson(u64 sequence, const char* reason, const VlansView& view) {
    Json ports = Json::array();
    for (const PortView& port : view.ports) {
        ports.push_back({
            {"port", port.port.unit},
            {"name", port.port.name.data()},
            {"linkUp", port.port.link == 1},
            {"portMvrpEnabledStatus", port.settings && port.settings->enabled},
            {"vlansRegistered", platform::formatVlanRanges(port.registered)},
            {"vlansDeclared", platform::formatVlanRanges(port.declared)},
            {"vlansLearnt", platform::formatVlanRanges(port.dynamic)},
        });
    }
    return finishedLine({
        {"type", "snapshot"},
        {"sequence", sequence},
        {"reason", reason},
        {"vlansStatic", platform::formatVlanRanges(view.staticVlans)},
        {"vlansLearnt", platform::formatVlanRanges(view.dynamicVlans)},
        {"ports", ports},
    });
}

std::string snapshotText(const char* reason, const std::vector<RunningPort>& ports,
                         const Style& style) {
    const bool gap = std::string(reason) == "gap";
    return (gap ? style.paint(Colour::Warn, "changes were lost; what runs now:") + "\n" : "") +
           summaryText(ports, style) + "\n";
}

std::string lostJson(const std::string& message) {
    return finishedLine({{"type", "disconnected"}, {"error", message}});
}

}  // namespace cli
