// SPDX-License-Identifier: MIT
#include "network/read/snapshot_text.h"

#include <nlohmann/json.hpp>

#include "cli/client/safe_text.h"
#include "network/read/lifted_lists.h"
#include "platform/model/mac_address.h"

namespace network {

namespace {

using Json = nlohmann::json;

constexpr int kVersion = 1;

const Json& memberOf(const Json& object, const char* key) {
    static const Json kNothing;
    if (!object.is_object())
        return kNothing;
    const auto found = object.find(key);
    return found == object.end() ? kNothing : *found;
}

[[noreturn]] void wrong(const char* key, const char* allowed) {
    throw SnapshotError(std::string("is damaged: ") + key + " is not " + allowed);
}

/// Empty for null.
std::string textAt(const Json& object, const char* key) {
    const Json& value = memberOf(object, key);
    if (value.is_null())
        return {};
    if (!value.is_string())
        wrong(key, "a text");
    return cli::safeText(value.get<std::string>());
}

/// 0 for null.
u64 numberAt(const Json& object, const char* key) {
    const Json& value = memberOf(object, key);
    if (value.is_null())
        return 0;
    if (!value.is_number_unsigned())
        wrong(key, "a number");
    return value.get<u64>();
}

u32 smallAt(const Json& object, const char* key) {
    const u64 value = numberAt(object, key);
    if (value > ~u32{0})
        wrong(key, "a number of 32 bits");
    return static_cast<u32>(value);
}

/// Nothing for null, and where there is no such key.
std::optional<u64> numberIfAt(const Json& object, const char* key) {
    return memberOf(object, key).is_null() ? std::nullopt : std::optional(numberAt(object, key));
}

bool flagAt(const Json& object, const char* key) {
    const Json& value = memberOf(object, key);
    return value.is_boolean() && value.get<bool>();
}

VlanBitmap vlansAt(const Json& object, const char* key, const LiftedLists& lists) {
    const Json& value = memberOf(object, key);
    if (value.is_null())
        return {};
    if (value.is_string())
        if (const VlanBitmap* const lifted = lists.find(value.get_ref<const std::string&>()))
            return *lifted;
    const auto vlans = value.is_string()
                           ? platform::parseVlanRanges(value.get_ref<const std::string&>())
                           : std::nullopt;
    if (!vlans)
        wrong(key, platform::kVlanRangesAllowed);
    return *vlans;
}

Mac macOf(const std::string& text) {
    const auto bytes = platform::parseMac(text);
    Mac mac = 0;
    for (std::size_t i = 0; bytes && i < bytes->size(); ++i)
        mac = mac << 8U | bytes->at(i);
    return mac;
}

/// The elements of a list; none where there is no list.
const Json& listAt(const Json& object, const char* key) {
    static const Json kEmpty = Json::array();
    const Json& value = memberOf(object, key);
    return value.is_array() ? value : kEmpty;
}

std::vector<VlanAge> agesAt(const Json& port, const char* key, const LiftedLists& lists) {
    std::vector<VlanAge> ages;
    for (const Json& entry : listAt(port, key))
        ages.push_back({vlansAt(entry, "vlans", lists), numberAt(entry, "age")});
    return ages;
}

void readSettings(const Json& json, Port& port) {
    const std::string registration = textAt(json, "registration");
    port.registration = registration == "forbidden" ? Registration::Forbidden
                        : registration == "fixed"   ? Registration::Fixed
                                                    : Registration::Normal;
    port.quiet = textAt(json, "participant") == "quiet";
    port.noObserve = textAt(json, "participant") == "no-observe";
    port.joinMs = smallAt(json, "portMrpJoinTime");
    port.leaveMs = smallAt(json, "portMrpLeaveTime");
    port.leaveAllMs = smallAt(json, "portMrpLeaveAllTime");
    if (!memberOf(json, "periodicTime").is_null())
        port.periodicMs = smallAt(json, "periodicTime");
    port.maxVlans = smallAt(json, "maxVlans");
    port.pvid = smallAt(json, "pvid");
    port.answersIeee = textAt(json, "wireForm") == "ieee";
    port.heardIeee = textAt(json, "heardForm") == "ieee";
}

void readVlans(const Json& json, const LiftedLists& lists, Port& port) {
    port.permitted = vlansAt(json, "vlansPermitted", lists);
    port.tagged = vlansAt(json, "vlansPermittedTagged", lists);
    port.registered = vlansAt(json, "vlansRegistered", lists);
    port.declared = vlansAt(json, "vlansDeclared", lists);
    port.member = vlansAt(json, "vlansMember", lists);
    port.learnt = vlansAt(json, "vlansLearnt", lists);
    port.heard = vlansAt(json, "vlansHeard", lists);
    for (const Json& entry : listAt(json, "vlansRefused"))
        port.refused.push_back({textAt(entry, "reason"), vlansAt(entry, "vlans", lists)});
    port.heardAges = agesAt(json, "heard", lists);
    port.withdrawnAges = agesAt(json, "withdrawn", lists);
}

/// One that said nothing over three LeaveAlls, of which each takes up to one and a half of its
/// time, is not there any more; the daemon itself waits longer before it says so.
void readNeighbours(const Json& json, Port& port) {
    constexpr u64 kLeaveAlls = 5;
    const u64 longest = kLeaveAlls * port.leaveAllMs + port.leaveMs;
    for (const Json& entry : listAt(json, "neighbours")) {
        const u64 ageMs = numberAt(entry, "age");
        port.neighbours.push_back({macOf(textAt(entry, "macAddress")),
                                   textAt(entry, "protocol") == "gvrp", ageMs,
                                   flagAt(entry, "lost") || ageMs > longest});
    }
}

Port portOf(const Json& json, const LiftedLists& lists) {
    Port port;
    port.number = smallAt(json, "port");
    port.name = textAt(json, "name");
    port.mac = macOf(textAt(json, "macAddress"));
    port.linkUp = flagAt(json, "linkUp");
    port.enabled = flagAt(json, "portMvrpEnabledStatus");
    port.eligible = flagAt(json, "eligible");
    port.loop = numberAt(json, "loopWith") != 0;
    port.aggregation = smallAt(json, "memberOf");
    port.isAggregation = textAt(json, "kind") == "aggregation";
    port.mtu = smallAt(json, "mtu");
    const std::string stp = textAt(json, "stpState");
    port.blocked = !stp.empty() && stp != "forwarding" && stp != "disabled";
    port.cable = textAt(json, "cable");
    port.cableError = textAt(json, "cableError");
    port.heardLast = macOf(textAt(json, "portMvrpLastPduOrigin"));
    port.leaveAllSentMs = numberIfAt(json, "leaveAllSent");
    port.leaveAllHeardMs = numberIfAt(json, "leaveAllHeard");
    readSettings(json, port);
    readNeighbours(json, port);
    readVlans(json, lists, port);
    return port;
}

void readSwitch(const Json& json, Switch& result) {
    result.name = textAt(json, "name");
    result.linux = textAt(json, "driver") == "Linux bridge";
    result.standby = textAt(json, "role") == "standby";
    result.enabled = flagAt(json, "mvrpEnabledStatus");
    result.gvrp = flagAt(json, "gvrpCompliance");
    result.pending = numberAt(json, "pendingChanges");
    result.version = textAt(json, "daemonVersion");
    result.uptimeMs = numberAt(json, "uptime");
    if (!memberOf(json, "corrections").is_array())
        return;
    result.corrections.emplace();
    for (const Json& name : listAt(json, "corrections"))
        if (name.is_string())
            result.corrections->push_back(cli::safeText(name.get<std::string>()));
}

void checkKind(const Json& json) {
    if (json.is_discarded())
        throw SnapshotError("is no JSON, or breaks off");
    const Json& kind = memberOf(json, "kind");
    if (!kind.is_string() || kind.get_ref<const std::string&>() != "snapshot")
        throw SnapshotError("is no snapshot; allowed is what `mvrpctl snapshot` writes");
    const Json& version = memberOf(json, "version");
    if (!version.is_number_integer() || version.get<long>() != kVersion)
        throw SnapshotError("is a snapshot of version " + cli::safeText(version.dump()) +
                            "; this program reads version " + std::to_string(kVersion));
}

}  // namespace

Switch parseSnapshot(const std::string& text) {
    const LiftedLists lists(text);
    const Json json = Json::parse(lists.text(), nullptr, false);
    checkKind(json);
    Switch result;
    readSwitch(memberOf(json, "switch"), result);
    result.hostName = textAt(json, "hostName");
    result.takenMs = numberAt(json, "taken");
    result.nextApplyMs = numberIfAt(json, "nextApply");
    result.staticVlans = vlansAt(json, "vlansStatic", lists);
    result.learntVlans = vlansAt(json, "vlansLearnt", lists);
    for (const Json& port : listAt(json, "ports"))
        result.ports.push_back(portOf(port, lists));
    for (const Json& entry : listAt(json, "lldp"))
        result.lldp.push_back({textAt(entry, "interface"), textAt(entry, "systemName"),
                               textAt(entry, "portId"), macOf(textAt(entry, "chassisId"))});
    return result;
}

}  // namespace network
