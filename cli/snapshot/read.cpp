// SPDX-License-Identifier: MIT
//
// From the sections of the daemon's answer to records.
#include <algorithm>
#include <cstring>
#include <map>

#include "cli/client/safe_text.h"
#include "cli/snapshot/snapshot.h"
#include "platform/contract/machine_states.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_vlan.h"

namespace cli {

namespace {

using platform::SnapshotPart;
using platform::SnapshotSection;
using platform::VlanSet;

struct Section {
    SnapshotSection head;
    std::span<const std::byte> bytes;

    /// Takes the record, when the section has all of it.
    template <typename Record>
    bool into(Record& record) const {
        if (bytes.size() != sizeof record)
            return false;
        std::memcpy(&record, bytes.data(), sizeof record);
        return true;
    }

    template <typename Record>
    std::vector<Record> list() const {
        std::vector<Record> records(bytes.size() / sizeof(Record));
        if (!records.empty())
            std::memcpy(records.data(), bytes.data(), records.size() * sizeof(Record));
        return records;
    }

    std::string text() const { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }
    u32 number() const {
        u32 value = 0;
        into(value);
        return value;
    }
};

std::vector<Section> sectionsOf(std::span<const std::byte> answer) {
    std::vector<Section> sections;
    SnapshotSection head{};
    while (answer.size() >= sizeof head) {
        std::memcpy(&head, answer.data(), sizeof head);
        answer = answer.subspan(sizeof head);
        if (head.length > answer.size())
            break;
        sections.push_back({head, answer.first(head.length)});
        answer = answer.subspan(head.length);
    }
    return sections;
}

using Ports = std::map<u32, PortSnapshot>;

void addPorts(const Section& section, Ports& ports) {
    for (platform::SwitchPortRecord record : section.list<platform::SwitchPortRecord>()) {
        makeSafe(record.name);
        makeSafe(record.cable);
        ports[record.unit].view.port = record;
    }
}

void takeScalar(const Section& section, GlobalView& view) {
    switch (section.head.attribute) {
        case MVRP_SCALAR_ENABLE:
            view.enabled = section.number() == MVRP_ON;
            break;
        case MVRP_SCALAR_GVRP_COMPLIANCE:
            view.compliance = section.number() == MVRP_ON;
            break;
        case MVRP_SCALAR_DEBUG:
            view.debugMask = section.number();
            break;
        case MVRP_SCALAR_ENTRY_NUM:
            view.pendingPairs = section.number();
            break;
        case MVRP_SCALAR_VERSION:
            view.version = safeText(section.text());
            break;
        default:
            break;
    }
}

void takeSwitch(const Section& section, SnapshotFacts& facts) {
    switch (static_cast<platform::Request>(section.head.part)) {
        case platform::Request::HostInfo:
            section.into(facts.global.host);
            makeSafe(facts.global.host.name);
            break;
        case platform::Request::ScalarGet:
            takeScalar(section, facts.global);
            break;
        case platform::Request::Corrections:
            section.into(facts.global.corrections.emplace());
            break;
        case platform::Request::StandbyInfo:
            section.into(facts.global.standby.emplace());
            break;
        case platform::Request::Losses:
            section.into(facts.losses);
            break;
        case platform::Request::ConfigSource:
            facts.configFile = safeText(section.text());
            break;
        case platform::Request::SwitchVlans:
            section.into(section.head.attribute == static_cast<u32>(QorVlanType::Static)
                             ? facts.staticVlans
                             : facts.learntVlans);
            break;
        default:
            break;
    }
}

void takeNextApply(const Section& section, SnapshotFacts& facts) {
    if (u64 ms = 0; section.into(ms))
        facts.nextApplyMs = ms;
}

void takeSetting(const Section& section, PortView& view) {
    if (!view.settings)
        view.settings = PortSettings{};
    if (section.head.attribute == MVRP_PORT_ENABLE)
        view.settings->enabled = section.number() == MVRP_ON;
    else if (u32* const field = settingOf(*view.settings, section.head.attribute))
        *field = section.number();
}

void takeSet(const Section& section, PortView& view) {
    switch (static_cast<VlanSet>(section.head.attribute)) {
        case VlanSet::Permitted:
            section.into(view.permitted);
            break;
        case VlanSet::PermittedTagged:
            section.into(view.permittedTagged);
            break;
        case VlanSet::Dynamic:
            section.into(view.dynamic);
            break;
        default:
            break;
    }
}

void takeMachines(const Section& section, PortView& view) {
    view.machines.assign(platform::kLastVlan, {APP_STATE_VO, REG_STATE_MT, 0});
    for (const platform::MachineRun& run : section.list<platform::MachineRun>())
        for (u32 vid = std::max(run.firstVid, u16{1});
             vid <= std::min(u32{run.lastVid}, platform::kLastVlan); ++vid)
            view.machines[vid - 1] = run.machine;
    setsOfMachines(view);
}

void takePort(const Section& section, PortSnapshot& port) {
    switch (static_cast<platform::Request>(section.head.part)) {
        case platform::Request::PortGet:
            return takeSetting(section, port.view);
        case platform::Request::PortVlans:
            return takeSet(section, port.view);
        case platform::Request::PortCounters:
            section.into(port.view.counters);
            return;
        case platform::Request::PortStatistics:
            section.into(port.statistics);
            return;
        default:
            break;
    }
    switch (static_cast<SnapshotPart>(section.head.part)) {
        case SnapshotPart::PortMachines:
            return takeMachines(section, port.view);
        case SnapshotPart::PortHeard:
            port.heard = section.list<platform::VlanTimeRun>();
            break;
        case SnapshotPart::PortWithdrawn:
            port.withdrawn = section.list<platform::VlanTimeRun>();
            break;
        case SnapshotPart::PortMembers:
            port.learnt = section.list<platform::VlanTimeRun>();
            break;
        case SnapshotPart::PortNeighbours:
            port.neighbours = section.list<platform::NeighbourRecord>();
            break;
        case SnapshotPart::PortLimits:
            section.into(port.maxVlans);
            break;
        case SnapshotPart::PortLeaveAlls:
            section.into(port.history);
            break;
        default:
            break;
    }
}

}  // namespace

SnapshotFacts readSnapshot(std::span<const std::byte> answer) {
    SnapshotFacts facts;
    Ports ports;
    for (const Section& section : sectionsOf(answer)) {
        if (section.head.status != kStatusOk)
            continue;
        if (section.head.part == static_cast<u32>(platform::Request::PortList))
            addPorts(section, ports);
        else if (section.head.part == static_cast<u32>(SnapshotPart::Moment))
            section.into(facts.takenMs);
        else if (section.head.part == static_cast<u32>(SnapshotPart::NextApply))
            takeNextApply(section, facts);
        else if (const auto port = ports.find(section.head.unit); port != ports.end())
            takePort(section, port->second);
        else
            takeSwitch(section, facts);
    }
    for (auto& [unit, port] : ports)
        facts.ports.push_back(std::move(port));
    return facts;
}

SnapshotFacts querySnapshot(Client& client) {
    const Reply reply = client.exchange({platform::Request::Snapshot});
    throwIfRefused(reply);
    return readSnapshot(reply.value);
}

}  // namespace cli
