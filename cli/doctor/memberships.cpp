// SPDX-License-Identifier: MIT
//
// Whether ports declare what is static, carry what they registered, and run where they are to.
#include <algorithm>
#include <charconv>

#include "cli/doctor/doctor.h"
#include "cli/print/words.h"
#include "cli/views/corrections.h"
#include "platform/contract/management.h"
#include "platform/model/vlan_algebra.h"

namespace cli {
namespace {

using platform::vlanDifference;
using platform::vlanIntersection;
using platform::vlanIsEmpty;

std::string setPort(const std::string& name, const char* setting) {
    return "mvrpctl set port " + name + " " + setting;
}

std::string explainFirst(const std::string& name, const platform::VlanBitmap& vlans) {
    u32 vid = platform::kFirstVlan;
    while (!platform::vlanContains(vlans, vid))
        ++vid;
    return "mvrpctl explain " + name + " " + std::to_string(vid);
}

/// A daemon that says which corrections it runs with, and that this is not one of them.
bool isOff(const GlobalView& global, Correction which) {
    return global.corrections && !isOn(global, which);
}

/// @param vlans  static, and not known to the neighbour
/// @param but    what is wrong with them
void examineUndeclared(const PortView& view, const platform::VlanBitmap& vlans, const char* but,
                       std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    if (!vlanIsEmpty(vlans))
        findings.push_back(
            {Severity::Warning,
             "static-not-declared",
             name,
             std::string("static here, and ") + but +
                 " to the neighbour, which forgets them: " + platform::formatVlanRanges(vlans),
             {explainFirst(name, vlans), setPort(name, "enable off"), setPort(name, "enable on")}});
}

/// A neighbour that lacks what somebody behind another port declares: until the next LeaveAll, by
/// the exact rules.
void examineUnpassed(const DaemonFacts& daemon, const PortView& view, const PortGaps& gaps,
                     std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    std::string sources;
    for (const PortView& source : daemon.ports)
        if (source.port.unit != view.port.unit &&
            !vlanIsEmpty(vlanIntersection(source.registered, gaps.unpassed)))
            sources += (sources.empty() ? "" : " ") + std::string(source.port.name.data());
    if (!vlanIsEmpty(gaps.unpassed))
        findings.push_back({Severity::Warning,
                            "not-passed-on",
                            name,
                            "registered on another port, and not declared to the neighbour: " +
                                platform::formatVlanRanges(gaps.unpassed),
                            {explainFirst(name, gaps.unpassed), repairOf(sources)}});
}

/// Why what is registered is no member.
std::string whyUnmembered(const PortView& view, const PortGaps& gaps, const GlobalView& global) {
    const platform::VlanBitmap barred = vlanDifference(gaps.unmembered, view.permitted);
    if (vlanIsEmpty(vlanDifference(gaps.unmembered, barred)))
        return "the port's permit list leaves them out";
    std::string why = global.pendingPairs == 0
                          ? "the switch refused them"
                          : std::to_string(global.pendingPairs) + " changes wait to be applied";
    if (!vlanIsEmpty(barred))
        why += ", and the port's permit list leaves out " + platform::formatVlanRanges(barred);
    return why;
}

void examineUnmembered(const PortView& view, const PortGaps& gaps, const GlobalView& global,
                       std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    findings.push_back(
        {Severity::Warning,
         "registered-not-member",
         name,
         "registered, and not on the port: " + platform::formatVlanRanges(gaps.unmembered) +
             "; declared " + agoText32(gaps.registeredMs) + "; " +
             whyUnmembered(view, gaps, global),
         {explainFirst(name, gaps.unmembered), repairOf(name), "mvrpctl show statistics " + name}});
}

void examineUnregistered(const PortView& view, const PortGaps& gaps, const GlobalView& global,
                         std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    const std::string vlans = platform::formatVlanRanges(gaps.unregistered);
    if (isBeingCleared(view, global))
        findings.push_back({Severity::Note,
                            "member-not-claimed",
                            name,
                            "kept from before the start, and not declared yet: " + vlans,
                            {explainFirst(name, gaps.unregistered)}});
    else
        findings.push_back(
            {Severity::Warning,
             "member-not-registered",
             name,
             "on the port, and registered by nobody: " + vlans + "; withdrawn " +
                 agoText32(gaps.withdrawnMs) +
                 (global.pendingPairs == 0
                      ? "; they do not go by themselves"
                      : "; " + std::to_string(global.pendingPairs) + " changes wait to be applied"),
             {explainFirst(name, gaps.unregistered), repairOf(name)}});
}

/// Corrections that are off, and would have prevented what is there.
void examineOff(const PortView& view, const PortGaps& gaps, const GlobalView& global,
                std::vector<Finding>& findings) {
    const auto say = [&](Correction which, const platform::VlanBitmap& vlans) {
        if (!isOff(global, which) || vlanIsEmpty(vlans))
            return;
        const std::string name(correctionName(which));
        findings.push_back({Severity::Note,
                            "correction-off",
                            view.port.name.data(),
                            "the correction " + name + " is off, and would have acted for " +
                                platform::formatVlanRanges(vlans) + ": " + correctionWords(which),
                            {"mvrpctl show corrections"}});
    };
    say(global.compliance ? Correction::GvrpStaticRenewed : Correction::StaticKept,
        platform::vlanUnion(gaps.undeclared, gaps.unrenewed));
    for (const Correction which : {Correction::LeaveNeeded, Correction::OnDeclares})
        say(which, gaps.unpassed);
    const platform::VlanBitmap admissible = vlanIntersection(gaps.unmembered, view.permitted);
    say(Correction::Admission, vlanDifference(gaps.unmembered, admissible));
    if (global.pendingPairs != 0)
        say(Correction::YieldBounded, admissible);
    if (!isBeingCleared(view, global)) {
        say(Correction::OwnBatch, gaps.unregistered);
        say(Correction::SpareOthers, gaps.unregistered);
    }
}

bool isWanted(const platform::HostConfig& config, const platform::SwitchPortRecord& port) {
    if (config.network.driver == platform::DriverKind::LinuxBridge)
        return config.network.linuxBridge.ruleOf(port.name.data()).management.enable == MVRP_ON;
    const auto found = config.management.ports.find(port.unit);
    return found != config.management.ports.end() && found->second.enable == MVRP_ON;
}

/// How many ports may run the protocol; nothing when that is not known.
std::optional<u32> roomOf(const platform::HostConfig& config) {
    const auto option = config.options.find(platform::kPortNumberOption);
    u32 room = 0;
    if (option != config.options.end() &&
        std::from_chars(option->second.data(), option->second.data() + option->second.size(), room)
                .ec == std::errc{})
        return room == 0 ? std::nullopt : std::optional(room);  // 0: the daemon's own number
    return config.network.driver == platform::DriverKind::LinuxBridge
               ? std::optional(platform::kLinuxPortNumber)
               : std::nullopt;
}

/// Ports on which the file switches the protocol on, and the daemon does not run it.
void examineRefused(const DoctorFacts& facts, std::vector<Finding>& findings) {
    const auto& config = facts.system.config;
    const GlobalView& global = facts.daemon.global;
    if (!config || !global.enabled ||
        global.host.role == static_cast<u32>(platform::HostRole::Standby))
        return;
    const auto running = static_cast<u32>(std::ranges::count_if(
        facts.daemon.ports, [](const PortView& view) { return view.settings.has_value(); }));
    const std::optional<u32> room = roomOf(*config);
    for (const PortView& view : facts.daemon.ports) {
        if (view.settings || view.port.eligible != 1 || !isWanted(*config, view.port))
            continue;
        const std::string name = view.port.name.data();
        if (room && running >= *room)
            findings.push_back({Severity::Error,
                                "port-refused",
                                name,
                                "the file switches MVRP on here, and the daemon refused: there is "
                                "room for " +
                                    std::to_string(*room) + (*room == 1 ? " port" : " ports") +
                                    " ([mvrp] maxifnum)",
                                {setPort(name, "enable on"), "systemctl restart mvrp"}});
        else
            findings.push_back({Severity::Warning,
                                "port-not-enabled",
                                name,
                                "the file switches MVRP on here, and it is off: somebody switched "
                                "it off, or the daemon refused it; its log says why",
                                {setPort(name, "enable on")}});
    }
}

}  // namespace

bool isBeingCleared(const PortView& view, const GlobalView& global) {
    return global.host.uptimeMs < u64{view.settings->leaveAllTime} + u64{view.settings->leaveTime};
}

void examineMemberships(const DoctorFacts& facts, std::vector<Finding>& findings) {
    const DaemonFacts& daemon = facts.daemon;
    if (daemon.state != DaemonState::Answers)
        return;
    examineRefused(facts, findings);
    for (const PortView& view : daemon.ports) {
        const auto found = daemon.gaps.find(view.port.unit);
        if (found == daemon.gaps.end() || !view.settings)
            continue;
        const PortGaps& gaps = found->second;
        examineUndeclared(view, gaps.undeclared, "not declared", findings);
        examineUndeclared(view, gaps.unrenewed, "not declared again since the last LeaveAll",
                          findings);
        examineUnpassed(daemon, view, gaps, findings);
        if (!vlanIsEmpty(gaps.unmembered))
            examineUnmembered(view, gaps, daemon.global, findings);
        if (!vlanIsEmpty(gaps.unregistered))
            examineUnregistered(view, gaps, daemon.global, findings);
        examineOff(view, gaps, daemon.global, findings);
    }
}

}  // namespace cli
