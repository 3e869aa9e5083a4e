// SPDX-License-Identifier: MIT
//
// Changes of the software switch at run time: one function per kind, in a table.
#include <algorithm>
#include <array>

#include "platform/model/port_name.h"
#include "platform/model/vlan_algebra.h"
#include "platform/switch/soft_state.h"

namespace platform {
namespace {

constexpr std::size_t kMostPorts = 4096;

/// One change at work: what is asked, the state to change, and the unit's port.
struct Change {
    const SwitchChangeRecord& record;
    SwitchState& state;
    SwitchPort* port;  ///< null: the unit does not exist
    std::string& error;

    HostStatus refuse(HostStatus status, std::string text) const {
        error = std::move(text);
        return status;
    }
    HostStatus badValue(const std::string& allowed) const {
        return refuse(HostStatus::BadArgument,
                      "the value is " + std::to_string(record.value) + "; allowed is " + allowed);
    }
};

/// Refuses a name that commands could not tell from another port's, or from a unit.
HostStatus checkName(const Change& change, const std::string& name) {
    if (isNumber(name))
        return change.refuse(HostStatus::BadArgument,
                             "the name is " + name + "; allowed is " + kPortNameAllowed);
    for (const SwitchPort& port : change.state.ports)
        if (name == port.name.data())
            return change.refuse(HostStatus::Exists, "port " + std::to_string(port.unit) +
                                                         " is called " + name +
                                                         " already; allowed is another name");
    return HostStatus::Ok;
}

HostStatus addPort(const Change& change) {
    const SwitchChangeRecord& record = change.record;
    if (change.port != nullptr) {
        return change.refuse(HostStatus::Exists,
                             "port " + std::to_string(record.unit) + " exists already");
    }
    if (record.unit == 0 || record.unit > kLastUnit) {
        return change.refuse(HostStatus::BadArgument, "the unit is " + std::to_string(record.unit) +
                                                          "; allowed is 1 to " +
                                                          std::to_string(kLastUnit));
    }
    if (record.value > static_cast<u32>(QorEndType::Aggregation))
        return change.badValue("1 for a port and 2 for an aggregation");
    if (change.state.ports.size() >= kMostPorts) {
        return change.refuse(HostStatus::BadArgument,
                             "the switch has " + std::to_string(kMostPorts) +
                                 " ports, which is as many as it can have");
    }
    const std::string text(record.text.data());
    const std::string name = text.empty() ? "port" + std::to_string(record.unit) : text;
    if (const HostStatus status = checkName(change, name); status != HostStatus::Ok)
        return status;
    SwitchPort port;
    port.unit = record.unit;
    port.endType = record.value == static_cast<u32>(QorEndType::Aggregation)
                       ? QorEndType::Aggregation
                       : QorEndType::Port;
    const u32 unit = record.unit;
    port.mac = {0x02,
                0x00,
                static_cast<u8>(unit >> 24),
                static_cast<u8>(unit >> 16),
                static_cast<u8>(unit >> 8),
                static_cast<u8>(unit)};
    name.copy(port.name.data(), port.name.size() - 1);
    vlanInsert(port.untagged, kDefaultVlan);
    port.tagged = vlanRange(kDefaultVlan + 1, kLastVlan);
    std::vector<SwitchPort>& ports = change.state.ports;
    ports.insert(std::ranges::lower_bound(ports, unit, {}, &SwitchPort::unit), port);
    return HostStatus::Ok;
}

HostStatus deletePort(const Change& change) {
    std::vector<SwitchPort>& ports = change.state.ports;
    const u32 unit = change.record.unit;
    if (std::ranges::any_of(ports, [unit](const SwitchPort& p) { return p.aggregation == unit; })) {
        return change.refuse(HostStatus::BadArgument,
                             "aggregation " + std::to_string(unit) +
                                 " has members; only one without members can be deleted");
    }
    ports.erase(ports.begin() + (change.port - ports.data()));
    return HostStatus::Ok;
}

HostStatus setLink(const Change& change) {
    if (change.record.value > 1)
        return change.badValue("1 for up and 0 for down");
    change.port->linkUp = change.record.value == 1;
    return HostStatus::Ok;
}

HostStatus setPvid(const Change& change) {
    const u32 pvid = change.record.value;
    if (pvid < kFirstVlan || pvid > kLastVlan)
        return change.badValue("a VLAN ID from 1 to 4094");
    SwitchPort& port = *change.port;
    // The PVID is carried untagged; the one before it goes back to what it would be on a trunk.
    if (vlanContains(port.untagged, port.pvid)) {
        vlanErase(port.untagged, port.pvid);
        vlanInsert(port.tagged, port.pvid);
    }
    port.pvid = pvid;
    vlanErase(port.tagged, pvid);
    vlanInsert(port.untagged, pvid);
    return HostStatus::Ok;
}

HostStatus setPermit(const Change& change) {
    SwitchPort& port = *change.port;
    port.untagged = {};
    vlanInsert(port.untagged, port.pvid);
    port.tagged = vlanDifference(change.record.vlans, port.untagged);
    return HostStatus::Ok;
}

HostStatus setEligible(const Change& change) {
    if (change.record.value > 1)
        return change.badValue("1 for eligible and 0 for not");
    change.port->eligible = change.record.value == 1;
    return HostStatus::Ok;
}

HostStatus joinAggregation(const Change& change) {
    SwitchPort& port = *change.port;
    const SwitchPort* aggregation = change.state.find(change.record.value);
    if (port.endType != QorEndType::Port) {
        return change.refuse(HostStatus::BadArgument, "unit " + std::to_string(port.unit) +
                                                          " is an aggregation; only a port joins");
    }
    if (aggregation == nullptr || aggregation->endType != QorEndType::Aggregation)
        return change.badValue("the unit of an aggregation");
    if (port.aggregation != 0) {
        return change.refuse(HostStatus::Exists,
                             "port " + std::to_string(port.unit) + " is a member of aggregation " +
                                 std::to_string(port.aggregation) + "; it has to leave it first");
    }
    port.aggregation = aggregation->unit;
    return HostStatus::Ok;
}

HostStatus leaveAggregation(const Change& change) {
    if (change.port->aggregation == 0) {
        return change.refuse(HostStatus::BadArgument, "port " + std::to_string(change.port->unit) +
                                                          " is not a member of an aggregation");
    }
    change.port->aggregation = 0;
    return HostStatus::Ok;
}

HostStatus createVlans(const Change& change) {
    vlanForEach(change.record.vlans, [&change](u32 vid) {
        change.state.kinds[vid] = static_cast<u8>(QorVlanType::Static);
    });
    return HostStatus::Ok;
}

HostStatus deleteVlans(const Change& change) {
    if (vlanContains(change.record.vlans, kDefaultVlan)) {
        return change.refuse(HostStatus::BadArgument,
                             "VLAN 1 always exists; allowed are 2 to 4094");
    }
    change.state.eraseVlans(change.record.vlans);
    return HostStatus::Ok;
}

HostStatus setVlanType(const Change& change) {
    const u32 type = change.record.value;
    const bool dynamic = type == static_cast<u32>(QorVlanType::Dynamic);
    if (!dynamic && type != static_cast<u32>(QorVlanType::Static))
        return change.badValue("2 for static and 6 for dynamic");
    if (dynamic && vlanContains(change.record.vlans, kDefaultVlan))
        return change.refuse(HostStatus::BadArgument, "VLAN 1 is always static");
    const VlanBitmap missing = vlanDifference(change.record.vlans, change.state.vlans());
    if (!vlanIsEmpty(missing)) {
        return change.refuse(HostStatus::BadArgument,
                             "only VLANs that exist have a type, and some of these do not");
    }
    vlanForEach(change.record.vlans,
                [&change, type](u32 vid) { change.state.kinds[vid] = static_cast<u8>(type); });
    return HostStatus::Ok;
}

HostStatus addToVlans(const Change& change) {
    SwitchPort& port = *change.port;
    port.tagged = vlanUnion(port.tagged, vlanDifference(change.record.vlans, port.untagged));
    return HostStatus::Ok;
}

HostStatus removeFromVlans(const Change& change) {
    SwitchPort& port = *change.port;
    port.tagged = vlanDifference(port.tagged, change.record.vlans);
    port.untagged = vlanDifference(port.untagged, change.record.vlans);
    return HostStatus::Ok;
}

/// Nothing of the switch changes: the message alone is wanted.
HostStatus announceOnly(const Change& /*change*/) {
    return HostStatus::Ok;
}

HostStatus checkTunnel(const Change& change) {
    return change.record.value == 1 || change.record.value == 2
               ? HostStatus::Ok
               : change.badValue("1 when the tunnel takes the address and 2 when it gives it back");
}

enum class Needs { Nothing, Port, Vlans, PortAndVlans };

struct ChangeRow {
    SwitchChangeKind kind;
    Needs needs;
    HostStatus (*apply)(const Change& change);
};

constexpr std::array<ChangeRow, 16> kChanges = {{
    {SwitchChangeKind::PortAdd, Needs::Nothing, addPort},
    {SwitchChangeKind::PortDelete, Needs::Port, deletePort},
    {SwitchChangeKind::PortLink, Needs::Port, setLink},
    {SwitchChangeKind::PortPvid, Needs::Port, setPvid},
    {SwitchChangeKind::PortPermit, Needs::PortAndVlans, setPermit},
    {SwitchChangeKind::PortEligible, Needs::Port, setEligible},
    {SwitchChangeKind::PortJoinAgg, Needs::Port, joinAggregation},
    {SwitchChangeKind::PortLeaveAgg, Needs::Port, leaveAggregation},
    {SwitchChangeKind::PortReset, Needs::Port, announceOnly},
    {SwitchChangeKind::PortRepair, Needs::PortAndVlans, announceOnly},
    {SwitchChangeKind::VlanCreate, Needs::Vlans, createVlans},
    {SwitchChangeKind::VlanDelete, Needs::Vlans, deleteVlans},
    {SwitchChangeKind::VlanType, Needs::Vlans, setVlanType},
    {SwitchChangeKind::VlanAddPort, Needs::PortAndVlans, addToVlans},
    {SwitchChangeKind::VlanRemovePort, Needs::PortAndVlans, removeFromVlans},
    {SwitchChangeKind::TunnelMac, Needs::Port, checkTunnel},
}};

}  // namespace

HostStatus applyChange(const SwitchChangeRecord& record, SwitchState& state, std::string& error) {
    const Change change = {record, state, state.find(record.unit), error};
    const auto row =
        std::ranges::find(kChanges, static_cast<SwitchChangeKind>(record.kind), &ChangeRow::kind);
    if (row == kChanges.end()) {
        return change.refuse(HostStatus::Unsupported,
                             "there is no change of kind " + std::to_string(record.kind));
    }
    const bool needsPort = row->needs == Needs::Port || row->needs == Needs::PortAndVlans;
    const bool needsVlans = row->needs == Needs::Vlans || row->needs == Needs::PortAndVlans;
    if (needsPort && change.port == nullptr) {
        return change.refuse(HostStatus::NoSuchPort,
                             "there is no port " + std::to_string(record.unit));
    }
    if (needsVlans && !vlanIsValid(record.vlans))
        return change.refuse(HostStatus::BadArgument, "VLAN IDs are 1 to 4094");
    return row->apply(change);
}

}  // namespace platform
