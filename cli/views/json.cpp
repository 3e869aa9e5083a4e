// SPDX-License-Identifier: MIT
#include "cli/views/json.h"

#include "cli/client/names.h"
#include "cli/print/json_document.h"
#include "cli/print/words.h"
#include "cli/views/corrections.h"
#include "cli/views/json_objects.h"
#include "platform/contract/qor_if.h"
#include "platform/contract/qor_vlan.h"

namespace cli {

namespace {

Json countersOf(const platform::PortCountersRecord& c) {
    return {
        {"framesIn", c.framesIn},
        {"framesOut", c.framesOut},
        {"bytesIn", c.bytesIn},
        {"bytesOut", c.bytesOut},
        {"forwarded", c.forwarded},
        {"ignored", c.ignored},
        {"droppedMalformed", c.droppedMalformed},
        {"droppedOverflow", c.droppedOverflow},
        {"droppedDisabled", c.droppedDisabled},
        {"droppedTunnel", c.droppedTunnel},
        {"sendFailed", c.sendFailed},
        {"droppedBudget", c.droppedBudget},
        {"droppedLoop", c.droppedLoop},
    };
}

/// Settings exist only while MVRP is switched on at the port.
Json settingsOf(const std::optional<PortSettings>& settings) {
    const auto orNull = [&settings](u32 PortSettings::*field) {
        return settings ? Json((*settings).*field) : Json(nullptr);
    };
    const auto nameOrNull = [&settings](Names names, u32 PortSettings::*field) {
        return settings ? Json(nameOf(names, (*settings).*field)) : Json(nullptr);
    };
    return {
        {"portMvrpEnabledStatus", settings && settings->enabled},
        {"registration", nameOrNull(kRegistrationModes, &PortSettings::registration)},
        {"participant", nameOrNull(kParticipantModes, &PortSettings::participant)},
        {"portMrpJoinTime", orNull(&PortSettings::joinTime)},
        {"portMrpLeaveTime", orNull(&PortSettings::leaveTime)},
        {"portMrpLeaveAllTime", orNull(&PortSettings::leaveAllTime)},
        {"periodicTime", orNull(&PortSettings::periodicTime)},
    };
}

}  // namespace

Json portObject(const PortView& view) {
    const platform::SwitchPortRecord& port = view.port;
    const bool aggregation = port.endType == static_cast<u32>(QorEndType::Aggregation);
    Json json = {
        {"port", port.unit},
        {"name", port.name.data()},
        {"kind", aggregation ? "aggregation" : "port"},
        {"linkUp", port.link == 1},
        {"macAddress", formatMac(port.mac)},
        {"mtu", port.mtu},
        {"cable", port.cable.data()},
        {"cableError", port.cableError == 0 ? Json(nullptr) : Json(cableErrorText(port))},
        {"loopWith", port.loopWith == 0 ? Json(nullptr) : Json(port.loopWith)},
        {"memberOf", port.aggregation == 0 ? Json(nullptr) : Json(port.aggregation)},
        {"eligible", port.eligible == 1},
        {"mvrpProtocol", (port.protocols & 1U) != 0},
        {"gvrpProtocol", (port.protocols & 2U) != 0},
        {"wireForm", nameOf(kWireForms, port.wireForm)},
        {"heardForm",
         port.heardForm == 0 ? Json(nullptr) : Json(nameOf(kWireForms, port.heardForm))},
        {"portMvrpLastPduOrigin", macOrNull(port.peerMac)},
    };
    json.update(settingsOf(view.settings));
    json.update(Json{
        {"pvid", port.pvid},
        {"vlansPermitted", platform::formatVlanRanges(view.permitted)},
        {"vlansPermittedTagged", platform::formatVlanRanges(view.permittedTagged)},
        {"vlansRegistered", platform::formatVlanRanges(view.registered)},
        {"vlansDeclared", platform::formatVlanRanges(view.declared)},
        {"vlansPropagated", platform::formatVlanRanges(view.propagated)},
        {"vlansLearnt", platform::formatVlanRanges(view.dynamic)},
        {"counters", countersOf(view.counters)},
    });
    return json;
}

namespace {

/// Those that are on.
std::vector<std::string> correctionNames(const GlobalView& view) {
    std::vector<std::string> names;
    for (u32 value = 0; value < kCorrectionCount; ++value)
        if (isOn(view, static_cast<Correction>(value)))
            names.emplace_back(kCorrectionNames[value]);
    return names;
}

}  // namespace

Json globalObject(const GlobalView& view) {
    return {
        {"name", view.host.name.data()},
        {"driver", nameOf(kDrivers, view.host.driver)},
        {"role", nameOf(kRoles, view.host.role)},
        {"standbyConnected", view.host.standbyConnected != 0},
        {"baseNumPorts", view.host.portCount},
        {"uptime", view.host.uptimeMs},
        {"mvrpEnabledStatus", view.enabled},
        {"gvrpCompliance", view.compliance},
        {"pendingChanges", view.pendingPairs},
        {"debug", formatDebugMask(view.debugMask)},
        {"corrections", view.corrections ? Json(correctionNames(view)) : Json(nullptr)},
        {"debugMask", view.debugMask},
        {"daemonVersion", view.version},
    };
}

std::string globalJson(const GlobalView& view) {
    return finished(globalObject(view));
}

std::string portsJson(const std::vector<PortView>& ports) {
    Json list = Json::array();
    for (const PortView& view : ports)
        list.push_back(portObject(view));
    return finished({{"ports", list}});
}

std::string vlansJson(const std::vector<VlanGroup>& groups) {
    Json list = Json::array();
    for (const VlanGroup& group : groups) {
        const bool isStatic = group.kind == static_cast<u32>(QorVlanType::Static);
        list.push_back({
            {"vlans", platform::formatVlanRanges(group.vlans)},
            {"vlanStatus", isStatic ? "permanent" : "dynamicMvrp"},
            {"permittedTaggedPorts", group.taggedPorts},
            {"permittedUntaggedPorts", group.untaggedPorts},
            {"learntPorts", group.dynamicPorts},
        });
    }
    return finished({{"vlans", list}});
}

std::string stateJson(const PortView& port, const std::vector<StateGroup>& groups,
                      std::optional<u32> leaveTimeLeftMs) {
    Json list = Json::array();
    for (const StateGroup& group : groups) {
        list.push_back({
            {"vlans", platform::formatVlanRanges(group.vlans)},
            {"applicant", nameOf(kApplicantStates, group.machine.applicant)},
            {"registrar", nameOf(kRegistrarStates, group.machine.registrar)},
            {"registered", isRegistered(group.machine)},
            {"propagated", isPropagated(group.machine)},
            {"leaveTimeLeft",
             isLeaving(group.machine) && leaveTimeLeftMs ? Json(*leaveTimeLeftMs) : Json(nullptr)},
        });
    }
    return finished({{"port", port.port.unit}, {"name", port.port.name.data()}, {"states", list}});
}

std::string countersJson(const std::vector<PortView>& ports) {
    Json list = Json::array();
    for (const PortView& view : ports) {
        Json entry = {{"port", view.port.unit}, {"name", view.port.name.data()}};
        entry.update(countersOf(view.counters));
        list.push_back(entry);
    }
    return finished({{"counters", list}});
}

std::string linesJson(const char* key, const std::vector<std::string>& lines) {
    return finished({{key, lines}});
}

std::string replyJson(u32 status, const std::string& hexValue) {
    return finished({{"status", status}, {"statusName", statusName(status)}, {"value", hexValue}});
}

std::string doneJson() {
    return finished({{"status", kStatusOk}, {"statusName", statusName(kStatusOk)}});
}

std::string errorJson(u32 status, const std::string& message) {
    return finished({{"status", status}, {"statusName", statusName(status)}, {"error", message}});
}

std::string errorJson(std::string_view name, const std::string& message) {
    return finished({{"status", 0}, {"statusName", name}, {"error", message}});
}

}  // namespace cli
