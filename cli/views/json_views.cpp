// SPDX-License-Identifier: MIT
//
// JSON of the views of ports: configuration, what runs, statistics.
#include "cli/client/names.h"
#include "cli/print/json_document.h"
#include "cli/views/json.h"
#include "cli/views/json_objects.h"
#include "cli/views/vlan_groups.h"

namespace cli {

namespace {

using platform::formatVlanRanges;

template <std::size_t kCount>
Json namedCounters(const std::array<CounterName, kCount>& names,
                   const std::array<u64, kCount>& counters, std::size_t from = 0) {
    Json json = Json::object();
    for (std::size_t i = from; i < kCount; ++i)
        json[names[i].key] = counters[i];
    return json;
}

u64 malformedOf(const platform::PortStatisticsRecord& record) {
    u64 count = 0;
    for (std::size_t i = 0; i < record.drops.size(); ++i)
        count += isMalformed(i) ? record.drops.at(i) : 0;
    return count;
}

Json settingsOrNull(const std::optional<PortSettings>& settings) {
    if (!settings)
        return nullptr;
    return {
        {"registration", nameOf(kRegistrationModes, settings->registration)},
        {"participant", nameOf(kParticipantModes, settings->participant)},
        {"portMrpJoinTime", settings->joinTime},
        {"portMrpLeaveTime", settings->leaveTime},
        {"portMrpLeaveAllTime", settings->leaveAllTime},
        {"periodicTime", settings->periodicTime},
    };
}

/// A list of the ports: the same members of each, and what `more` says of it.
template <typename More>
std::string portsJson(const std::vector<RunningPort>& ports, More more) {
    Json list = Json::array();
    for (const RunningPort& port : ports) {
        Json entry = {
            {"port", port.view.port.unit},
            {"name", port.view.port.name.data()},
            {"linkUp", port.view.port.link == 1},
            {"portMvrpEnabledStatus", port.view.settings && port.view.settings->enabled},
        };
        entry.update(more(port));
        list.push_back(entry);
    }
    return finished({{"ports", list}});
}

Json lastFailedOrNull(const platform::PortStatisticsRecord& r) {
    if (r.lastFailedVid == 0)
        return nullptr;
    const bool known = r.lastFailedReason < kFailureNames.size();
    return {
        {"vlan", r.lastFailedVid},
        {"origin", macOrNull(r.lastFailedOrigin)},
        {"reason", known ? Json(kFailureNames.at(r.lastFailedReason).key) : Json(nullptr)},
        {"age", r.lastFailedMs},
    };
}

}  // namespace

std::string runningJson(const std::vector<RunningPort>& ports) {
    return portsJson(ports, [](const RunningPort& port) {
        return Json{
            {"vlansRegistered", formatVlanRanges(port.view.registered)},
            {"vlansDeclared", formatVlanRanges(port.view.declared)},
            {"vlansPropagated", formatVlanRanges(port.view.propagated)},
            {"vlansInSwitch", formatVlanRanges(port.inSwitch)},
            {"vlansLearnt", formatVlanRanges(port.view.dynamic)},
            {"vlansMissing", formatVlanRanges(port.missing)},
            {"vlansExtra", formatVlanRanges(port.extra)},
        };
    });
}

std::string summaryJson(const std::vector<RunningPort>& ports) {
    return portsJson(ports, [](const RunningPort& port) {
        return Json{
            {"registered", countVlans(port.view.registered)},
            {"declared", countVlans(port.view.declared)},
            {"learnt", countVlans(port.view.dynamic)},
            {"inSwitch", countVlans(port.inSwitch)},
            {"missing", countVlans(port.missing)},
            {"extra", countVlans(port.extra)},
        };
    });
}

std::string configJson(const GlobalView& global, const std::vector<PortView>& ports) {
    Json list = Json::array();
    for (const PortView& view : ports) {
        list.push_back({
            {"port", view.port.unit},
            {"name", view.port.name.data()},
            {"portMvrpEnabledStatus", view.settings && view.settings->enabled},
            {"settings", settingsOrNull(view.settings)},
            {"pvid", view.port.pvid},
            {"wireForm", nameOf(kWireForms, view.port.wireForm)},
            {"vlansPermitted", formatVlanRanges(view.permitted)},
            {"vlansPermittedTagged", formatVlanRanges(view.permittedTagged)},
        });
    }
    return finished({
        {"name", global.host.name.data()},
        {"driver", nameOf(kDrivers, global.host.driver)},
        {"mvrpEnabledStatus", global.enabled},
        {"gvrpCompliance", global.compliance},
        {"ports", list},
    });
}

Json statisticsObject(const platform::PortStatisticsRecord& r) {
    return {
        {"countedFor", r.sinceMs},
        {"pdusIn", namedCounters(kFormNames, r.pdusIn)},
        {"pdusOut", namedCounters(kFormNames, r.pdusOut)},
        {"bytesIn", r.bytesIn},
        {"bytesOut", r.bytesOut},
        {"eventsIn", namedCounters(kEventNames, r.eventsIn)},
        {"eventsOut", namedCounters(kEventNames, r.eventsOut)},
        {"malformed", malformedOf(r)},
        {"droppedByReason", namedCounters(kDropNames, r.drops, 1)},
        {"portMvrpFailedRegistrations", sumOf(r.failed)},
        {"failedByReason", namedCounters(kFailureNames, r.failed)},
        {"lastFailedRegistration", lastFailedOrNull(r)},
        {"droppedOverflow", r.overflow},
        {"droppedDisabled", r.notEnabled},
        {"droppedTunnel", r.tunnelled},
        {"sendFailed", r.sendFailed},
        {"lastPduAge", r.lastPduMs == platform::kNever ? Json(nullptr) : Json(r.lastPduMs)},
        {"portMvrpLastPduOrigin", macOrNull(r.lastPduOrigin)},
    };
}

std::string statisticsJson(const std::vector<PortStatistics>& ports) {
    Json list = Json::array();
    for (const PortStatistics& port : ports) {
        Json entry = {{"port", port.port.unit}, {"name", port.port.name.data()}};
        entry.update(statisticsObject(port.record));
        list.push_back(entry);
    }
    return finished({{"statistics", list}});
}

std::string captureJson(const std::string& file, u64 frames, u64 lost) {
    return finished({{"file", file}, {"frames", frames}, {"lost", lost}});
}

std::string waitJson(const std::string& port, const platform::VlanBitmap& vlans, bool onPort,
                     u64 waitedMs) {
    return finished({{"name", port},
                     {"vlans", formatVlanRanges(vlans)},
                     {"onPort", onPort},
                     {"waited", waitedMs}});
}

}  // namespace cli
