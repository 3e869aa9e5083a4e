// SPDX-License-Identifier: MIT
//
// [switch], and [[port]] and [[vlan]] of the software switch.
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <set>

#include "platform/config/load_sections.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_if.h"
#include "platform/model/port_name.h"

namespace platform {
namespace {

constexpr u32 kLastUnit = kVlanInterfaceBase - 1;
constexpr u32 kLeastMtu = 64;
constexpr u32 kMostMtu = 9216;
constexpr std::size_t kMaxName = kNameBytes - 1;
constexpr const char* kMacAllowed =
    "a unicast MAC address as six bytes in hexadecimal, for example \"02:00:00:00:00:01\"";

// What only the Linux driver's tables have.
constexpr std::array<std::string_view, 6> kLinuxSwitchKeys = {"bridge", "static", "on-stop",
                                                              "guard",  "vlan-1", "linger"};
constexpr std::array<std::string_view, 7> kLinuxPortKeys = {"mvrp",
                                                            kMvrpRegistration.name,
                                                            kMvrpParticipant.name,
                                                            kMvrpPeriodicTime.name,
                                                            kMvrpJoinTime.name,
                                                            kMvrpLeaveTime.name,
                                                            kMvrpLeaveAllTime.name};

std::string hostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0')
        return "switch";
    return std::string(name.data()).substr(0, kMaxName);
}

/// A locally administered address, different for each unit and, as a rule, for each switch.
MacAddress defaultMac(const std::string& switchName, u32 unit) {
    u32 hash = 2166136261U;  // FNV-1a
    for (const char character : switchName)
        hash = (hash ^ static_cast<u8>(character)) * 16777619U;
    const auto byteOf = [](u32 value, u32 index) { return static_cast<u8>(value >> (8 * index)); };
    return {2, byteOf(hash, 0), byteOf(unit, 3), byteOf(unit, 2), byteOf(unit, 1), byteOf(unit, 0)};
}

void loadMac(ConfigReader& table, PortConfig& port) {
    const auto text = table.text("mac", kMaxName);
    if (!text)
        return;
    const auto mac = parseMac(*text);
    if (mac && isStationMac(*mac))
        port.mac = *mac;
    else
        table.refuse("mac", kMacAllowed);
}

void loadPortVlans(ConfigReader& table, PortConfig& port) {
    port.pvid = table.number("pvid", kFirstVlan, kLastVlan).value_or(port.pvid);
    port.permitUntagged = table.vlans("untagged").value_or(vlanRange(port.pvid, port.pvid));
    port.permitTagged = table.vlans("permit").value_or(vlanRange(kFirstVlan, kLastVlan));
    for (std::size_t index = 0; index < port.permitTagged.size(); index++)
        port.permitTagged[index] =
            static_cast<u8>(port.permitTagged[index] & ~port.permitUntagged[index]);
}

void loadCable(ConfigReader& table, PortConfig& port) {
    const auto text = table.text("cable", 2 * kMaxSocketPath + 8);
    if (!text)
        return;
    const auto cable = parseCable(*text);
    if (cable)
        port.cable = *cable;
    else
        table.refuse("cable", kCableAllowed);
}

void loadPortFrames(ConfigReader& table, PortConfig& port) {
    loadCable(table, port);
    port.wireForm = loadWireForm(table, port.wireForm);
    port.recordFile = table.text("record", PATH_MAX - 1).value_or("");
    port.replayFile = table.text("replay", PATH_MAX - 1).value_or("");
}

std::optional<PortConfig> loadPort(ConfigReader& table, const HostConfig& config) {
    PortConfig port;
    const bool hasUnit = table.require("unit", "a number from 1 to " + std::to_string(kLastUnit));
    const auto unit = table.number("unit", 1, kLastUnit);
    port.unit = unit.value_or(0);
    port.name = table.text("name", kMaxName).value_or("port" + std::to_string(port.unit));
    if (isNumber(port.name))
        table.refuse("name", kPortNameAllowed);
    port.isAggregation = table.word("kind", {{"port", 0}, {"aggregation", 1}}).value_or(0) == 1;
    port.mac = defaultMac(config.network.name, port.unit);
    loadMac(table, port);
    port.mtu = table.number("mtu", kLeastMtu, kMostMtu, "bytes").value_or(port.mtu);
    loadPortVlans(table, port);
    port.linkUp = table.word("link", {{"up", 1}, {"down", 0}}).value_or(1) == 1;
    port.eligible = table.boolean("eligible").value_or(true);
    loadPortFrames(table, port);
    loadPortLimits(table, config.corrections, port.maxVlans, port.maxPdus);
    port.aggregation = table.number("aggregation", 1, kLastUnit).value_or(0);
    table.refuseKeys(kLinuxPortKeys,
                     "belongs to driver = \"linux\"; allowed: the settings of "
                     "[[management.port]], where mvrp is called enable");
    table.finish();
    return hasUnit && unit ? std::optional(port) : std::nullopt;
}

const PortConfig* portOf(const SwitchConfig& network, u32 unit) {
    const auto found = std::ranges::find(network.ports, unit, &PortConfig::unit);
    return found == network.ports.end() ? nullptr : &*found;
}

/// What two ports may not have in common.
void checkUnique(ConfigReader& table, const PortConfig& port, const SwitchConfig& earlier) {
    for (const PortConfig& other : earlier.ports) {
        const std::string of = " of the port with unit " + std::to_string(other.unit);
        if (other.unit == port.unit)
            table.problem("unit", "[[port]] unit " + std::to_string(port.unit) +
                                      " is there twice; allowed: one [[port]] for each unit");
        else if (other.name == port.name)
            table.problem("name", "[[port]] name \"" + port.name + "\" is also that" + of +
                                      "; allowed: a name for each port");
        if (other.cable.kind == CableKind::Unix && port.cable.kind == CableKind::Unix &&
            other.cable.localPath == port.cable.localPath)
            table.problem("cable", "[[port]] cable begins at the same socket as the cable" + of +
                                       "; allowed: a local path for each port");
    }
}

void checkAggregation(ConfigReader& table, const PortConfig& port, const SwitchConfig& network) {
    if (port.aggregation == 0)
        return;
    const PortConfig* aggregation = portOf(network, port.aggregation);
    if (aggregation == nullptr || !aggregation->isAggregation || port.isAggregation)
        table.refuse("aggregation",
                     "the unit of a [[port]] with kind = \"aggregation\", for a plain port");
}

}  // namespace

WireForm loadWireForm(ConfigReader& table, WireForm fallback) {
    return static_cast<WireForm>(
        table
            .word("wire-format", {{"native", static_cast<u32>(WireForm::Native)},
                                  {"ieee", static_cast<u32>(WireForm::Ieee)},
                                  {"auto", static_cast<u32>(WireForm::Auto)}})
            .value_or(static_cast<u32>(fallback)));
}

void loadSwitch(ConfigReader& top, SwitchConfig& network) {
    network.name = hostName();
    auto table = top.table("switch");
    if (!table)
        return;
    network.driver = static_cast<DriverKind>(
        table
            ->word("driver", {{"soft", static_cast<u32>(DriverKind::SoftwareSwitch)},
                              {"linux", static_cast<u32>(DriverKind::LinuxBridge)}})
            .value_or(static_cast<u32>(network.driver)));
    network.name = table->text("name", kMaxName).value_or(network.name);
    network.askWhenForwarding =
        table->boolean("ask-when-forwarding").value_or(network.driver == DriverKind::LinuxBridge);
    network.loopGuard =
        table->boolean("loop-guard").value_or(network.driver == DriverKind::LinuxBridge);
    if (network.driver == DriverKind::LinuxBridge)
        loadLinuxSwitch(*table, network.linuxBridge);
    else
        table->refuseKeys(kLinuxSwitchKeys,
                          "belongs to driver = \"linux\"; allowed: driver, name, "
                          "ask-when-forwarding, loop-guard");
    table->finish();
}

void loadPorts(ConfigReader& top, HostConfig& config) {
    SwitchConfig& network = config.network;
    auto tables = top.tables("port");
    std::vector<std::pair<ConfigReader*, PortConfig>> read;
    for (ConfigReader& table : tables) {
        const auto port = loadPort(table, config);
        if (!port)
            continue;
        checkUnique(table, *port, network);
        network.ports.push_back(*port);
        read.emplace_back(&table, *port);
    }
    for (auto& [table, port] : read)
        checkAggregation(*table, port, network);
    std::ranges::sort(network.ports, {}, &PortConfig::unit);
}

void loadVlans(ConfigReader& top, SwitchConfig& network) {
    vlanInsert(network.staticVlans, kFirstVlan);
    for (ConfigReader& table : top.tables("vlan")) {
        table.require("ids", kVlanRangesAllowed);
        const auto ids = table.vlans("ids");
        table.finish();
        for (u32 vid = kFirstVlan; ids && vid <= kLastVlan; vid++)
            if (vlanContains(*ids, vid))
                vlanInsert(network.staticVlans, vid);
    }
}

}  // namespace platform
