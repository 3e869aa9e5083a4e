// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <map>

#include "cli/client/names.h"
#include "cli/snapshot/snapshot.h"
#include "cli/views/json_objects.h"
#include "cli/views/vlan_groups.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

namespace {

using platform::formatVlanRanges;
using platform::VlanBitmap;

constexpr u64 kMsPerSecond = 1000;
/// By FrameKind less one.
constexpr std::array kProtocols = {"native", "ieee", "gvrp"};
constexpr std::array kStpStates = {"disabled", "listening", "learning", "forwarding", "blocking"};

/// VLANs to which it happened at the same time, together: {"vlans": "10-12", "age": 3000}.
Json timesOf(const std::vector<platform::VlanTimeRun>& runs) {
    std::map<u32, VlanBitmap> byAge;
    for (const platform::VlanTimeRun& run : runs)
        for (u32 vid = run.firstVid; vid <= run.lastVid; ++vid)
            platform::vlanInsert(byAge[run.agoSeconds], vid);
    Json list = Json::array();
    for (const auto& [seconds, vlans] : byAge)
        list.push_back({{"vlans", formatVlanRanges(vlans)}, {"age", seconds * kMsPerSecond}});
    return list;
}

Json statesOf(const PortView& view) {
    Json list = Json::array();
    for (const StateGroup& group : groupStates(view, {}))
        list.push_back({{"vlans", formatVlanRanges(group.vlans)},
                        {"applicant", nameOf(kApplicantStates, group.machine.applicant)},
                        {"registrar", nameOf(kRegistrarStates, group.machine.registrar)},
                        {"registered", isRegistered(group.machine)},
                        {"propagated", isPropagated(group.machine)}});
    return list;
}

Json neighboursOf(const PortSnapshot& port) {
    Json list = Json::array();
    for (const platform::NeighbourRecord& neighbour : port.neighbours) {
        const std::size_t kind = std::size_t{neighbour.protocol} - 1;
        list.push_back(
            {{"macAddress", formatMac(neighbour.mac)},
             {"protocol", kind < kProtocols.size() ? Json(kProtocols.at(kind)) : Json(nullptr)},
             {"age", neighbour.heardMs},
             {"lost", neighbour.lost != 0}});
    }
    return list;
}

Json agoOrNull(u64 ms) {
    return ms == platform::kNever ? Json(nullptr) : Json(ms);
}

Json refusedOf(const PortSnapshot& port, const VlanBitmap& staticVlans) {
    Json list = Json::array();
    for (const RefusedVlans& refused : refusedVlans(port, staticVlans))
        list.push_back({{"reason", refused.reason}, {"vlans", formatVlanRanges(refused.vlans)}});
    return list;
}

const platform::KernelLink* linkOf(const SnapshotFacts& facts, u32 index) {
    if (!facts.system)
        return nullptr;
    const auto found = std::ranges::find(facts.system->links, index, &platform::KernelLink::index);
    return found == facts.system->links.end() ? nullptr : &*found;
}

Json stpStateOf(const platform::KernelLink* link) {
    const auto state =
        link == nullptr ? kStpStates.size() : static_cast<std::size_t>(link->stpState);
    return state < kStpStates.size() && link->bridgePort ? Json(kStpStates.at(state))
                                                         : Json(nullptr);
}

Json portOf(const SnapshotFacts& facts, const PortSnapshot& port) {
    const PortView& view = port.view;
    const VlanBitmap member = platform::vlanUnion(
        platform::vlanIntersection(facts.staticVlans, view.permitted), view.dynamic);
    Json json = portObject(view);
    json.update({
        {"maxVlans", port.maxVlans == 0 ? Json(nullptr) : Json(port.maxVlans)},
        {"stpState", stpStateOf(linkOf(facts, view.port.unit))},
        {"vlansMember", formatVlanRanges(member)},
        {"vlansHeard", formatVlanRanges(heardVlans(port))},
        {"vlansRefused", refusedOf(port, facts.staticVlans)},
        {"states", statesOf(view)},
        {"heard", timesOf(port.heard)},
        {"withdrawn", timesOf(port.withdrawn)},
        {"learnt", timesOf(port.learnt)},
        {"neighbours", neighboursOf(port)},
        {"leaveAllSent", agoOrNull(port.history.leaveAllOutMs)},
        {"leaveAllHeard", agoOrNull(port.history.leaveAllInMs)},
        {"statistics", statisticsObject(port.statistics)},
    });
    return json;
}

Json linkObject(const platform::KernelLink& link, const platform::SystemFacts& system) {
    const auto found = std::ranges::find(system.vlans, link.index, &platform::KernelVlans::index);
    const platform::KernelVlans vlans =
        found == system.vlans.end() ? platform::KernelVlans{} : *found;
    return {
        {"name", link.name},
        {"index", link.index},
        {"macAddress", formatMac(link.mac)},
        {"adminUp", link.adminUp},
        {"carrier", link.carrier},
        {"stpState", stpStateOf(&link)},
        {"vlans", formatVlanRanges(vlans.carried)},
        {"vlansUntagged", formatVlanRanges(vlans.untagged)},
        {"pvid", vlans.pvid},
    };
}

/// The bridge that the daemon drives: the one that its ports belong to.
Json bridgeOf(const SnapshotFacts& facts) {
    const platform::KernelLink* port = nullptr;
    for (const PortSnapshot& each : facts.ports)
        port = port == nullptr ? linkOf(facts, each.view.port.unit) : port;
    const platform::KernelLink* const bridge =
        port == nullptr ? nullptr : linkOf(facts, port->master);
    if (bridge == nullptr)
        return nullptr;
    Json json = linkObject(*bridge, *facts.system);
    json["vlanFiltering"] = bridge->vlanFiltering;
    json["defaultPvid"] = bridge->defaultPvid;
    json["multipleTrees"] = bridge->multipleTrees;
    Json ports = Json::array();
    for (const platform::KernelLink& link : facts.system->links)
        if (link.master == bridge->index && link.bridgePort)
            ports.push_back(linkObject(link, *facts.system));
    json["ports"] = ports;
    return json;
}

Json memberOf(const Json& object, const char* key) {
    return object.is_object() && object.contains(key) ? object[key] : Json(nullptr);
}

/// The first of a list: json0 has lists everywhere.
Json firstOf(const Json& object, const char* key) {
    const Json list = memberOf(object, key);
    return list.is_array() && !list.empty() ? list[0] : Json(nullptr);
}

/// The text of the first of a list; null where there is none.
Json textOf(const Json& object, const char* key) {
    const Json value = memberOf(firstOf(object, key), "value");
    return value.is_string() ? value : Json(nullptr);
}

/// What lldpd says of who is at the other end of which interface.
Json lldpOf(const std::string& text) {
    const Json interfaces =
        memberOf(firstOf(Json::parse(text, nullptr, false), "lldp"), "interface");
    if (!interfaces.is_array())
        return nullptr;
    Json list = Json::array();
    for (const Json& interface : interfaces) {
        const Json name = memberOf(interface, "name");
        const Json chassis = firstOf(interface, "chassis");
        const Json port = firstOf(interface, "port");
        list.push_back({{"interface", name.is_string() ? name : Json(nullptr)},
                        {"chassisId", textOf(chassis, "id")},
                        {"systemName", textOf(chassis, "name")},
                        {"portId", textOf(port, "id")},
                        {"portDescription", textOf(port, "descr")}});
    }
    return list;
}

}  // namespace

std::string snapshotJson(const SnapshotFacts& facts) {
    Json ports = Json::array();
    for (const PortSnapshot& port : facts.ports)
        ports.push_back(portOf(facts, port));
    return finishedLine({
        {"kind", "snapshot"},
        {"taken", facts.takenMs},
        {"nextApply", facts.nextApplyMs ? Json(*facts.nextApplyMs) : Json(nullptr)},
        {"hostName", facts.hostName},
        {"configFile", facts.configFile.empty() ? Json(nullptr) : Json(facts.configFile)},
        {"switch", globalObject(facts.global)},
        {"losses",
         {{"logLines", facts.losses.logLines},
          {"recordedFrames", facts.losses.recordedFrames},
          {"forwardedFrames", facts.losses.forwardedFrames}}},
        {"vlansStatic", formatVlanRanges(facts.staticVlans)},
        {"vlansLearnt", formatVlanRanges(facts.learntVlans)},
        {"ports", ports},
        {"bridge", bridgeOf(facts)},
        {"lldp", lldpOf(facts.lldp)},
    });
}

}  // namespace cli
