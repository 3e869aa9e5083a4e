// SPDX-License-Identifier: MIT
#include "cli/client/queries.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <span>

#include "cli/client/mistakes.h"
#include "cli/client/names.h"
#include "cli/client/safe_text.h"
#include "platform/contract/machine_states.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_vlan.h"

namespace cli {

namespace {

using platform::MachineRecord;
using platform::SwitchPortRecord;
using platform::VlanBitmap;
using Number = platform::Request;

constexpr u32 kVersionBytes = 17;

/// Where each of kMvrpPortSettings is read into.
constexpr std::array<u32 PortSettings::*, kMvrpPortSettings.size()> kSettingFields = {
    &PortSettings::registration, &PortSettings::participant, &PortSettings::periodicTime,
    &PortSettings::joinTime,     &PortSettings::leaveTime,   &PortSettings::leaveAllTime,
};

std::vector<std::byte> bytesOf(u32 value) {
    const auto bytes = std::as_bytes(std::span(&value, 1));
    return {bytes.begin(), bytes.end()};
}

[[noreturn]] void wrongSize(std::size_t got, std::size_t wanted) {
    throw ConnectionError("the daemon answered " + std::to_string(got) + " bytes in place of " +
                          std::to_string(wanted) + "; mvrpctl and mvrp are of different versions");
}

/// The status of a refusal, and its text: the platform's own requests may answer with one.
[[noreturn]] void refused(const Reply& reply) {
    const std::string text = textOf(reply);
    throw RefusedError(reply.status, text.empty() ? statusText(reply.status) : text);
}

template <typename Record>
Record decode(const Reply& reply) {
    if (reply.status != 0)
        refused(reply);
    if (reply.value.size() != sizeof(Record))
        wrongSize(reply.value.size(), sizeof(Record));
    Record record;
    std::memcpy(&record, reply.value.data(), sizeof(record));
    return record;
}

template <typename Record>
std::vector<Record> decodeList(const Reply& reply) {
    if (reply.status != 0)
        refused(reply);
    if (reply.value.size() % sizeof(Record) != 0)
        wrongSize(reply.value.size(), reply.value.size() / sizeof(Record) * sizeof(Record));
    std::vector<Record> records(reply.value.size() / sizeof(Record));
    if (!records.empty())
        std::memcpy(records.data(), reply.value.data(), reply.value.size());
    return records;
}

Request scalarGet(MvrpScalar scalar) {
    return {Number::ScalarGet, 0, scalar, bytesOf(0)};
}

Request portGet(u32 unit, MvrpPortAttribute attribute) {
    return {Number::PortGet, unit, attribute, bytesOf(0)};
}

Request vlanSet(u32 unit, platform::VlanSet set) {
    return {Number::PortVlans, unit, static_cast<u32>(set), {}};
}

/// The requests about one port, in the order in which readPort takes the replies.
void askPort(std::vector<Request>& requests, u32 unit, const PortParts& parts) {
    requests.push_back(portGet(unit, MVRP_PORT_ENABLE));
    if (parts.settings)
        for (const MvrpSetting& setting : kMvrpPortSettings)
            requests.push_back(portGet(unit, setting.attribute));
    if (parts.machines)
        requests.push_back({Number::PortMachines, unit, 0, {}});
    if (parts.lists) {
        requests.push_back(vlanSet(unit, platform::VlanSet::PermittedTagged));
        requests.push_back(vlanSet(unit, platform::VlanSet::Permitted));
        requests.push_back(vlanSet(unit, platform::VlanSet::Dynamic));
    }
    if (parts.counters)
        requests.push_back({Number::PortCounters, unit, 0, {}});
}

}  // namespace

void setsOfMachines(PortView& view) {
    for (u32 vid = 1; vid <= view.machines.size(); ++vid) {
        const MachineRecord& machine = view.machines[vid - 1];
        if ((machine.flags & kMachineRegistered) != 0)
            platform::vlanInsert(view.registered, vid);
        if ((machine.flags & kMachinePropagated) != 0)
            platform::vlanInsert(view.propagated, vid);
        // A static VLAN that was created while the port ran has no flag, and is declared.
        if (isDeclaring(machine.applicant))
            platform::vlanInsert(view.declared, vid);
    }
}

u32* settingOf(PortSettings& settings, u32 attribute) {
    const auto found =
        std::ranges::find(kMvrpPortSettings, attribute,
                          [](const MvrpSetting& setting) { return u32{setting.attribute}; });
    return found == kMvrpPortSettings.end()
               ? nullptr
               : &(settings.*
                   kSettingFields.at(static_cast<std::size_t>(found - kMvrpPortSettings.begin())));
}

namespace {

/// What the daemon says of a port that runs the protocol; of another it refuses all of it.
void readProtocol(PortView& view, std::span<const Reply> replies, const PortParts& parts) {
    const Reply& enable = replies.front();
    if (enable.status == MVRP_ERR_NO_PORT)
        return;
    view.settings = PortSettings{};
    view.settings->enabled = decode<u32>(enable) == MVRP_ON;
    if (parts.settings)
        for (std::size_t i = 0; i < kSettingFields.size(); ++i)
            (*view.settings).*kSettingFields[i] = decode<u32>(replies[1 + i]);
    if (parts.machines) {
        view.machines = decodeList<MachineRecord>(replies.back());
        setsOfMachines(view);
    }
}

PortView readPort(const SwitchPortRecord& port, std::span<const Reply> replies,
                  const PortParts& parts) {
    PortView view;
    view.port = port;
    std::size_t next = 1 + (parts.settings ? kSettingFields.size() : 0) + (parts.machines ? 1 : 0);
    readProtocol(view, replies.first(next), parts);
    if (parts.lists) {
        view.permittedTagged = decode<VlanBitmap>(replies[next++]);
        view.permitted = decode<VlanBitmap>(replies[next++]);
        view.dynamic = decode<VlanBitmap>(replies[next++]);
    }
    if (parts.counters)
        view.counters = decode<platform::PortCountersRecord>(replies[next]);
    return view;
}

}  // namespace

bool isDeclaring(u32 applicant) {
    constexpr std::array kDeclaring = {APP_STATE_VP, APP_STATE_VN_M, APP_STATE_AN_M,
                                       APP_STATE_AA, APP_STATE_QA,   APP_STATE_AP,
                                       APP_STATE_QP, APP_STATE_VA_G};
    return std::ranges::find(kDeclaring, applicant) != kDeclaring.end();
}

GlobalView queryGlobal(Client& client) {
    const std::array<Request, 8> requests = {
        Request{Number::HostInfo},
        scalarGet(MVRP_SCALAR_ENABLE),
        scalarGet(MVRP_SCALAR_GVRP_COMPLIANCE),
        scalarGet(MVRP_SCALAR_DEBUG),
        scalarGet(MVRP_SCALAR_ENTRY_NUM),
        Request{Number::ScalarGet, 0, MVRP_SCALAR_VERSION, bytesOf(kVersionBytes)},
        Request{Number::Corrections},
        Request{Number::StandbyInfo},
    };
    const std::vector<Reply> replies = client.exchange(requests);
    GlobalView view;
    view.host = decode<platform::HostInfoRecord>(replies[0]);
    makeSafe(view.host.name);
    view.enabled = decode<u32>(replies[1]) == MVRP_ON;
    view.compliance = decode<u32>(replies[2]) == MVRP_ON;
    view.debugMask = decode<u32>(replies[3]);
    view.pendingPairs = decode<u32>(replies[4]);
    if (replies[5].status == kStatusOk)
        view.version = safeText(textOf(replies[5]));
    if (replies[6].status == kStatusOk)
        view.corrections = decode<platform::CorrectionsRecord>(replies[6]);
    if (replies[7].status == kStatusOk)
        view.standby = decode<platform::StandbyInfoRecord>(replies[7]);
    return view;
}

std::vector<SwitchPortRecord> queryPortList(Client& client) {
    std::vector<SwitchPortRecord> ports;
    u32 above = 0;
    for (;;) {
        auto more = decodeList<SwitchPortRecord>(client.exchange({Number::PortList, above}));
        if (more.empty() || more.back().unit <= above)
            return ports;
        for (SwitchPortRecord& port : more) {
            makeSafe(port.name);
            makeSafe(port.cable);
        }
        ports.insert(ports.end(), more.begin(), more.end());
        above = ports.back().unit;
    }
}

std::vector<PortView> queryPorts(Client& client, const std::vector<SwitchPortRecord>& ports,
                                 const PortParts& parts) {
    std::vector<PortView> views;
    if (ports.empty())
        return views;
    std::vector<Request> requests;
    for (const SwitchPortRecord& port : ports)
        askPort(requests, port.unit, parts);
    const std::vector<Reply> replies = client.exchange(requests);
    const std::size_t each = requests.size() / ports.size();
    for (std::size_t i = 0; i < ports.size(); ++i)
        views.push_back(readPort(ports[i], std::span(replies).subspan(i * each, each), parts));
    return views;
}

VlansView queryVlans(Client& client, const PortParts& parts) {
    return queryVlans(client, queryPortList(client), parts);
}

VlansView queryVlans(Client& client, const std::vector<SwitchPortRecord>& ports,
                     const PortParts& parts) {
    const std::array<Request, 2> requests = {
        Request{Number::SwitchVlans, 0, static_cast<u32>(QorVlanType::Static)},
        Request{Number::SwitchVlans, 0, static_cast<u32>(QorVlanType::Dynamic)},
    };
    const std::vector<Reply> replies = client.exchange(requests);
    VlansView view;
    view.staticVlans = decode<VlanBitmap>(replies[0]);
    view.dynamicVlans = decode<VlanBitmap>(replies[1]);
    view.ports = queryPorts(client, ports, parts);
    return view;
}

SwitchPortRecord findPort(Client& client, const std::string& unitOrName) {
    u32 unit = 0;
    const char* const end = unitOrName.data() + unitOrName.size();
    const auto [stop, error] = std::from_chars(unitOrName.data(), end, unit);
    const bool isUnit = error == std::errc() && stop == end;
    const std::vector<SwitchPortRecord> ports = queryPortList(client);
    std::string known;
    std::vector<std::string> names;
    // An interface may be called by a number, which is what a person sees of it.
    if (const auto named = std::ranges::find_if(
            ports, [&](const SwitchPortRecord& port) { return unitOrName == port.name.data(); });
        named != ports.end())
        return *named;
    for (const SwitchPortRecord& port : ports) {
        if (isUnit && port.unit == unit)
            return port;
        known += (known.empty() ? "" : ", ") + std::to_string(port.unit) + " " + port.name.data();
        names.emplace_back(port.name.data());
    }
    throw RefusedError(static_cast<u32>(platform::HostStatus::NoSuchPort),
                       "the switch has no port '" + unitOrName + "'" + guess(unitOrName, names) +
                           "; its ports are: " + (known.empty() ? "none" : known));
}

u32 setNumber(Client& client, Number request, u32 unit, u32 attribute, u32 value) {
    return client.exchange({request, unit, attribute, bytesOf(value)}).status;
}

}  // namespace cli
