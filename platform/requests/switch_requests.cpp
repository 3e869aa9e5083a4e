// SPDX-License-Identifier: MIT
#include "platform/requests/switch_requests.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/model/vlan_algebra.h"
#include "platform/requests/reply.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

u32 noSuchPort(std::vector<u8>& reply, u32 unit) {
    return refuse(HostStatus::NoSuchPort, "there is no port " + std::to_string(unit), reply);
}

/// The requests that only read take no value.
u32 refuseValue(std::span<const u8> value, std::vector<u8>& reply) {
    return refuse(
        HostStatus::BadArgument,
        "the request takes no value, and one of " + std::to_string(value.size()) + " bytes came",
        reply);
}

template <std::size_t size>
void copyText(std::array<char, size>& to, const std::string& text) {
    to.fill('\0');
    text.copy(to.data(), to.size() - 1);
}

SwitchPortRecord recordOf(const PortSummary& port, const PortCables* cables) {
    SwitchPortRecord record{};
    record.unit = port.unit;
    record.endType = static_cast<u32>(port.endType);
    record.link = port.state.linkUp ? 1 : 0;
    record.eligible = port.state.eligible ? 1 : 0;
    record.mtu = port.state.mtu;
    record.pvid = port.state.pvid;
    record.protocols = (port.mvrp ? 1U : 0U) | (port.gvrp ? 2U : 0U);
    record.aggregation = port.aggregation;
    record.mac = port.state.mac;
    copyText(record.name, port.name);
    const CableState cable = cables == nullptr ? CableState{} : cables->cableState(port.unit);
    record.wireForm = static_cast<u32>(cable.form);
    record.heardForm = cable.heard;
    record.peerMac = cable.peer;
    copyText(record.cable, cable.cable);
    record.cableError = static_cast<u32>(cable.cableError);
    record.guardLost = port.guardLost;
    record.guardDisputed = port.guardDisputedUntilMs > monotonicMs() ? 1 : 0;
    record.loopWith = cable.loopWith;
    return record;
}

/// Changes that concern the frame layer rather than the switch. A port of a Linux bridge is its own
/// cable, so there the driver answers for what is connected to it.
bool isCableChange(SwitchChangeKind kind, DriverKind driver) {
    switch (kind) {
        case SwitchChangeKind::PortCable:
        case SwitchChangeKind::PortReplay:
            return driver != DriverKind::LinuxBridge;
        case SwitchChangeKind::PortWireForm:
        case SwitchChangeKind::PortRecord:
            return true;
        default:
            return false;
    }
}

HostStatus changeCable(const ServedSwitch& served, const SwitchChangeRecord& record,
                       std::string& error) {
    PortCables& cables = *served.cables;
    const std::string text(record.text.data());
    const auto file = [&] {
        return NamedFile{text, served.takeDescriptor ? served.takeDescriptor() : Descriptor()};
    };
    switch (static_cast<SwitchChangeKind>(record.kind)) {
        case SwitchChangeKind::PortCable:
            return cables.setCable(record.unit, text, error);
        case SwitchChangeKind::PortWireForm:
            if (record.value < static_cast<u32>(WireForm::Native) ||
                record.value > static_cast<u32>(WireForm::Auto)) {
                error = "the value is " + std::to_string(record.value) +
                        "; allowed is 1 for native, 2 for ieee and 3 for auto";
                return HostStatus::BadArgument;
            }
            return cables.setWireForm(record.unit, static_cast<WireForm>(record.value));
        case SwitchChangeKind::PortReplay:
            return cables.replay(record.unit, file(), record.value, error);
        default:
            return cables.setRecording(record.unit, file(), error);
    }
}

/// The daemon has heard of what does not go together by then, and has taken it out.
constexpr u32 kAfterRemovalMs = 1200;

/// Settles the port, and has its neighbours declare again.
HostStatus repairPort(const ServedSwitch& served, const SwitchChangeRecord& record,
                      std::string& error) {
    PortState state{};
    if (!served.driver.portState(record.unit, state)) {
        error = "there is no port " + std::to_string(record.unit);
        return HostStatus::NoSuchPort;
    }
    if (!served.driver.framePolicy(record.unit).takesPart() || !state.linkUp) {
        error =
            "the port takes no part, so nobody can be asked: MVRP is off there, its link is "
            "down, or this is a standby";
        return HostStatus::BadArgument;
    }
    const HostStatus status = served.driver.change(record, error);
    if (status == HostStatus::Ok && served.cables != nullptr)
        served.cables->renew(record.unit, vlanIsEmpty(record.vlans) ? 0 : kAfterRemovalMs);
    return status;
}

HostStatus applyRecord(const ServedSwitch& served, const SwitchChangeRecord& record,
                       std::string& error) {
    SwitchDriver& driver = served.driver;
    PortCables* cables = served.cables;
    const auto kind = static_cast<SwitchChangeKind>(record.kind);
    if (kind == SwitchChangeKind::PortRepair)
        return repairPort(served, record, error);
    if (!isCableChange(kind, driver.kind())) {
        const HostStatus status = driver.change(record, error);
        if (status == HostStatus::Ok && kind == SwitchChangeKind::PortDelete && cables != nullptr)
            cables->forget(record.unit);
        return status;
    }
    PortState state{};
    if (!driver.portState(record.unit, state)) {
        error = "there is no port " + std::to_string(record.unit);
        return HostStatus::NoSuchPort;
    }
    if (cables == nullptr) {
        error = "the ports of this switch have no cables";
        return HostStatus::Unsupported;
    }
    return changeCable(served, record, error);
}

}  // namespace

u32 handlePortList(const ServedSwitch& served, const RequestHeader& header,
                   std::span<const u8> value, std::vector<u8>& reply) {
    if (!value.empty())
        return refuseValue(value, reply);
    constexpr std::size_t kMostRecords = kMaxValueBytes / sizeof(SwitchPortRecord);
    for (const PortSummary& port : served.driver.listPorts(header.unit, kMostRecords))
        appendRecord(reply, recordOf(port, served.cables));
    return kStatusOk;
}

u32 handlePortVlans(const ServedSwitch& served, const RequestHeader& header,
                    std::span<const u8> value, std::vector<u8>& reply) {
    if (!value.empty())
        return refuseValue(value, reply);
    constexpr std::array kSets = {VlanSet::Permitted, VlanSet::PermittedTagged, VlanSet::Dynamic,
                                  VlanSet::Untagged};
    const auto which = static_cast<VlanSet>(header.attribute);
    if (std::ranges::find(kSets, which) == kSets.end()) {
        return refuse(HostStatus::BadArgument,
                      "the attribute is " + std::to_string(header.attribute) +
                          "; allowed is 184 (tagged), 196 (permitted), 197 (untagged) and 198 "
                          "(dynamic)",
                      reply);
    }
    VlanBitmap vlans{};
    if (!served.driver.portVlans(header.unit, which, vlans))
        return noSuchPort(reply, header.unit);
    appendRecord(reply, vlans);
    return kStatusOk;
}

u32 handleSwitchVlans(const ServedSwitch& served, const RequestHeader& header,
                      std::span<const u8> value, std::vector<u8>& reply) {
    if (!value.empty())
        return refuseValue(value, reply);
    const auto type = static_cast<QorVlanType>(header.attribute);
    if (type != QorVlanType::Static && type != QorVlanType::Dynamic) {
        return refuse(HostStatus::BadArgument,
                      "the attribute is " + std::to_string(header.attribute) +
                          "; allowed is 2 for static and 6 for dynamic VLANs",
                      reply);
    }
    VlanBitmap vlans{};
    for (u32 vid = kFirstVlan; vid <= kLastVlan; ++vid)
        if (served.driver.vlanType(vid) == type)
            vlanInsert(vlans, vid);
    appendRecord(reply, vlans);
    return kStatusOk;
}

u32 handlePortCounters(const ServedSwitch& served, const RequestHeader& header,
                       std::span<const u8> value, std::vector<u8>& reply) {
    if (!value.empty())
        return refuseValue(value, reply);
    PortState state{};
    if (!served.driver.portState(header.unit, state))
        return noSuchPort(reply, header.unit);
    appendRecord(reply, served.cables == nullptr ? PortCountersRecord{}
                                                 : served.cables->counters(header.unit));
    return kStatusOk;
}

u32 handleSwitchChange(const ServedSwitch& served, const RequestHeader& /*header*/,
                       std::span<const u8> value, std::vector<u8>& reply) {
    SwitchChangeRecord record{};
    if (value.size() != sizeof record) {
        return refuse(HostStatus::BadArgument,
                      "the value has " + std::to_string(value.size()) + " bytes; it takes " +
                          std::to_string(sizeof record),
                      reply);
    }
    std::memcpy(&record, value.data(), sizeof record);
    record.text.back() = '\0';
    std::string error;
    const HostStatus status = applyRecord(served, record, error);
    return status == HostStatus::Ok ? kStatusOk : refuse(status, error, reply);
}

void registerSwitchRequests(Dispatcher& dispatcher, const ServedSwitch& served) {
    const auto add = [&](Request request, auto handle) {
        dispatcher.registerRequest(
            request, [served, handle](const RequestHeader& header, std::span<const u8> value,
                                      std::vector<u8>& reply) {
                return handle(served, header, value, reply);
            });
    };
    add(Request::PortList, handlePortList);
    add(Request::PortVlans, handlePortVlans);
    add(Request::SwitchVlans, handleSwitchVlans);
    add(Request::PortCounters, handlePortCounters);
    add(Request::SwitchChange, handleSwitchChange);
}

}  // namespace platform
