// SPDX-License-Identifier: MIT
#include "platform/switch/requests.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>

#include "platform/switch/port_wires.h"
#include "platform/switch/switch_driver.h"

namespace platform {
namespace {

std::atomic<PortWires*> gWires{nullptr};

u32 refuse(std::vector<u8>& reply, HostStatus status, const std::string& text) {
    reply.insert(reply.end(), text.begin(), text.end());
    return static_cast<u32>(status);
}

u32 noSuchPort(std::vector<u8>& reply, u32 unit) {
    return refuse(reply, HostStatus::NoSuchPort, "there is no port " + std::to_string(unit));
}

u32 noSwitch(std::vector<u8>& reply) {
    return refuse(reply, HostStatus::Unsupported, "no switch is running");
}

/// The requests that only read take no value.
bool rejectsValue(std::span<const u8> value, std::vector<u8>& reply, u32& status) {
    if (value.empty()) {
        return false;
    }
    status = refuse(
        reply, HostStatus::BadArgument,
        "the request takes no value, and one of " + std::to_string(value.size()) + " bytes came");
    return true;
}

/// The switch that a request without a value reads.
/// @return null when it is refused: `reply` and `status` say why
const SwitchDriver* driverToRead(std::span<const u8> value, std::vector<u8>& reply, u32& status) {
    if (rejectsValue(value, reply, status)) {
        return nullptr;
    }
    const SwitchDriver* driver = switchDriver();
    if (driver == nullptr) {
        status = noSwitch(reply);
    }
    return driver;
}

template <typename Record>
void append(std::vector<u8>& reply, const Record& record) {
    const auto* bytes = reinterpret_cast<const u8*>(&record);
    reply.insert(reply.end(), bytes, bytes + sizeof record);
}

template <std::size_t size>
void copyText(std::array<char, size>& to, const std::string& text) {
    to.fill('\0');
    text.copy(to.data(), to.size() - 1);
}

SwitchPortRecord recordOf(const PortSummary& port) {
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
    const PortWires* wires = portWires();
    const WireState wire = wires == nullptr ? WireState{} : wires->wireState(port.unit);
    record.wireForm = static_cast<u32>(wire.form);
    record.heardForm = wire.heard;
    record.peerMac = wire.peer;
    copyText(record.cable, wire.cable);
    return record;
}

/// Changes that concern the frame layer rather than the switch. A port of a Linux bridge is its own
/// cable, so there the driver answers for what is connected to it.
bool isWireChange(SwitchChangeKind kind, DriverKind driver) {
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

HostStatus changeWire(PortWires& wires, const SwitchChangeRecord& record, std::string& error) {
    const std::string text(record.text.data());
    switch (static_cast<SwitchChangeKind>(record.kind)) {
        case SwitchChangeKind::PortCable:
            return wires.setCable(record.unit, text, error);
        case SwitchChangeKind::PortWireForm:
            if (record.value < static_cast<u32>(WireForm::Native) ||
                record.value > static_cast<u32>(WireForm::Auto)) {
                error = "the value is " + std::to_string(record.value) +
                        "; allowed is 1 for native, 2 for ieee and 3 for auto";
                return HostStatus::BadArgument;
            }
            return wires.setWireForm(record.unit, static_cast<WireForm>(record.value));
        case SwitchChangeKind::PortReplay:
            return wires.replay(record.unit, text, record.value, error);
        default:
            return wires.setRecording(record.unit, text, error);
    }
}

HostStatus applyRecord(SwitchDriver& driver, const SwitchChangeRecord& record, std::string& error) {
    PortWires* wires = portWires();
    const auto kind = static_cast<SwitchChangeKind>(record.kind);
    if (!isWireChange(kind, driver.kind())) {
        const HostStatus status = driver.change(record, error);
        if (status == HostStatus::Ok && kind == SwitchChangeKind::PortDelete && wires != nullptr) {
            wires->forget(record.unit);
        }
        return status;
    }
    PortState state{};
    if (!driver.portState(record.unit, state)) {
        error = "there is no port " + std::to_string(record.unit);
        return HostStatus::NoSuchPort;
    }
    if (wires == nullptr) {
        error = "the ports of this switch have no cables";
        return HostStatus::Unsupported;
    }
    return changeWire(*wires, record, error);
}

}  // namespace

void installPortWires(PortWires* wires) {
    gWires.store(wires, std::memory_order_release);
}

PortWires* portWires() {
    return gWires.load(std::memory_order_acquire);
}

u32 handlePortList(const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) {
    u32 status = 0;
    const SwitchDriver* driver = driverToRead(value, reply, status);
    if (driver == nullptr) {
        return status;
    }
    constexpr std::size_t kMostRecords = kMaxValueBytes / sizeof(SwitchPortRecord);
    for (const PortSummary& port : driver->listPorts(header.unit, kMostRecords)) {
        append(reply, recordOf(port));
    }
    return kStatusOk;
}

u32 handlePortVlans(const RequestHeader& header, std::span<const u8> value,
                    std::vector<u8>& reply) {
    u32 status = 0;
    const SwitchDriver* driver = driverToRead(value, reply, status);
    if (driver == nullptr) {
        return status;
    }
    constexpr std::array kSets = {VlanSet::Permitted, VlanSet::PermittedTagged, VlanSet::Dynamic,
                                  VlanSet::Untagged};
    const auto which = static_cast<VlanSet>(header.attribute);
    if (std::ranges::find(kSets, which) == kSets.end()) {
        return refuse(reply, HostStatus::BadArgument,
                      "the attribute is " + std::to_string(header.attribute) +
                          "; allowed is 184 (tagged), 196 (permitted), 197 (untagged) and 198 "
                          "(dynamic)");
    }
    VlanBitmap vlans{};
    if (!driver->portVlans(header.unit, which, vlans)) {
        return noSuchPort(reply, header.unit);
    }
    append(reply, vlans);
    return kStatusOk;
}

u32 handleSwitchVlans(const RequestHeader& header, std::span<const u8> value,
                      std::vector<u8>& reply) {
    u32 status = 0;
    const SwitchDriver* driver = driverToRead(value, reply, status);
    if (driver == nullptr) {
        return status;
    }
    const auto type = static_cast<QorVlanType>(header.attribute);
    if (type != QorVlanType::Static && type != QorVlanType::Dynamic) {
        return refuse(reply, HostStatus::BadArgument,
                      "the attribute is " + std::to_string(header.attribute) +
                          "; allowed is 2 for static and 6 for dynamic VLANs");
    }
    VlanBitmap vlans{};
    for (u32 vid = kFirstVlan; vid <= kLastVlan; ++vid) {
        if (driver->vlanType(vid) == type) {
            vlanInsert(vlans, vid);
        }
    }
    append(reply, vlans);
    return kStatusOk;
}

u32 handlePortCounters(const RequestHeader& header, std::span<const u8> value,
                       std::vector<u8>& reply) {
    u32 status = 0;
    const SwitchDriver* driver = driverToRead(value, reply, status);
    if (driver == nullptr) {
        return status;
    }
    PortState state{};
    if (!driver->portState(header.unit, state)) {
        return noSuchPort(reply, header.unit);
    }
    const PortWires* wires = portWires();
    append(reply, wires == nullptr ? PortCountersRecord{} : wires->counters(header.unit));
    return kStatusOk;
}

u32 handleSwitchChange(const RequestHeader& /*header*/, std::span<const u8> value,
                       std::vector<u8>& reply) {
    SwitchChangeRecord record{};
    if (value.size() != sizeof record) {
        return refuse(reply, HostStatus::BadArgument,
                      "the value has " + std::to_string(value.size()) + " bytes; it takes " +
                          std::to_string(sizeof record));
    }
    std::memcpy(&record, value.data(), sizeof record);
    record.text.back() = '\0';
    SwitchDriver* driver = switchDriver();
    if (driver == nullptr) {
        return noSwitch(reply);
    }
    std::string error;
    const HostStatus status = applyRecord(*driver, record, error);
    return status == HostStatus::Ok ? kStatusOk : refuse(reply, status, error);
}

}  // namespace platform
