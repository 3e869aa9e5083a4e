// SPDX-License-Identifier: MIT
//
// [management], and the management settings of a port.
#include <algorithm>
#include <charconv>

#include "platform/config/load_sections.h"
#include "platform/contract/management.h"

namespace platform {
namespace {

constexpr u32 kMostPdus = 1'000'000;

constexpr const char* kUnitsAllowed =
    "the unit of a [[port]], or units as ranges, for example \"1-4,7\"";

enum class PortTimes : u32 { Standard, Daemon };

constexpr std::array<std::string_view, 1> kPortTables = {"port"};

std::optional<u32> onOff(ConfigReader& table, std::string_view key) {
    const auto value = table.boolean(key);
    return value ? std::optional(u32{*value ? MVRP_ON : MVRP_OFF}) : std::nullopt;
}

std::optional<u32> settingOf(ConfigReader& table, const MvrpSetting& setting) {
    return setting.words.empty() ? table.number(setting.name, setting.least, setting.most, "ms")
                                 : table.word(setting.name, setting.words);
}

struct UnitRange {
    u32 first;
    u32 last;
};

/// Reads "A" or "A-B" off the front of `text`, with the comma that follows.
std::optional<UnitRange> takeUnits(std::string_view& text) {
    const auto takeNumber = [&text]() -> std::optional<u32> {
        u32 number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        return error == std::errc{} ? std::optional(number) : std::nullopt;
    };
    const auto first = takeNumber();
    auto last = first;
    if (text.starts_with('-')) {
        text.remove_prefix(1);
        last = takeNumber();
    }
    if (!first || !last || *first > *last || !(text.empty() || text.starts_with(',')))
        return std::nullopt;
    text.remove_prefix(text.empty() ? 0 : 1);
    return UnitRange{*first, *last};
}

/// The units of `ports` that `text` names; nothing when it names one that is not there.
std::optional<std::vector<u32>> unitsOf(std::string_view text,
                                        const std::vector<PortConfig>& ports) {
    std::vector<u32> units;
    while (!text.empty()) {
        const auto range = takeUnits(text);
        if (!range)
            return std::nullopt;
        const auto before = units.size();
        for (const PortConfig& port : ports)
            if (port.unit >= range->first && port.unit <= range->last)
                units.push_back(port.unit);
        if (units.size() - before != std::size_t{range->last - range->first} + 1)
            return std::nullopt;
    }
    return units.empty() ? std::nullopt : std::optional(units);
}

std::vector<u32> loadUnits(ConfigReader& table, const SwitchConfig& network) {
    if (!table.require("unit", kUnitsAllowed))
        return {};
    const ConfigValue& value = *table.find("unit");
    std::optional<std::vector<u32>> units;
    if (value.kind == ConfigKind::Integer)
        units = unitsOf(std::to_string(value.integer), network.ports);
    else if (value.kind == ConfigKind::Text)
        units = unitsOf(value.text, network.ports);
    if (!units)
        table.refuse("unit", kUnitsAllowed);
    return units.value_or(std::vector<u32>{});
}

/// What the ports that no table names are set to.
PortManagement loadTimes(ConfigReader& table, DriverKind driver) {
    const bool isLinux = driver == DriverKind::LinuxBridge;
    const PortTimes times = static_cast<PortTimes>(
        table
            .word("times", {{"standard", static_cast<u32>(PortTimes::Standard)},
                            {"daemon", static_cast<u32>(PortTimes::Daemon)}})
            .value_or(static_cast<u32>(isLinux ? PortTimes::Standard : PortTimes::Daemon)));
    PortManagement port;
    if (isLinux)
        port.participant = MVRP_PARTICIPANT_NO_OBSERVE;
    return times == PortTimes::Standard ? withStandardTimes(port) : port;
}

/// The rules between the three times, which the daemon checks one by one.
void checkTimes(ConfigReader& table, const PortManagement& port) {
    const u32 join = port.joinTime.value_or(kMvrpJoinTime.initial);
    const u32 leave = port.leaveTime.value_or(kMvrpLeaveTime.initial);
    const u32 leaveAll = port.leaveAllTime.value_or(kMvrpLeaveAllTime.initial);
    if (kMvrpJoinsPerLeave * join > leave)
        table.problem(table.has(kMvrpLeaveTime.name) ? kMvrpLeaveTime.name : kMvrpJoinTime.name,
                      table.where() + " leave-time is " + std::to_string(leave) +
                          " with a join-time of " + std::to_string(join) +
                          "; allowed: a leave-time of at least twice the join-time");
    if (leave > leaveAll)
        table.problem(
            table.has(kMvrpLeaveAllTime.name) ? kMvrpLeaveAllTime.name : kMvrpLeaveTime.name,
            table.where() + " leave-all-time is " + std::to_string(leaveAll) +
                " with a leave-time of " + std::to_string(leave) +
                "; allowed: a leave-all-time of at least the leave-time");
}

void loadManagedPort(ConfigReader& table, HostConfig& config) {
    const auto units = loadUnits(table, config.network);
    const PortManagement port = loadPortManagement(table, kMvrpEnableName, config.otherPorts);
    table.finish();
    if (config.management.enable != MVRP_ON)
        table.problem("unit",
                      "[[management.port]] without enable = true in [management]; the daemon knows "
                      "ports only while it is enabled");
    for (const u32 unit : units)
        if (!config.management.ports.emplace(unit, port).second)
            table.problem("unit", "[[management.port]] names unit " + std::to_string(unit) +
                                      " a second time; allowed: once");
}

}  // namespace

PortManagement loadPortManagement(ConfigReader& table, std::string_view enableKey,
                                  const PortManagement& rest) {
    PortManagement port = rest;
    const auto take = [](std::optional<u32>& setting, std::optional<u32> said) {
        if (said)
            setting = said;
    };
    take(port.enable, onOff(table, enableKey));
    take(port.registration, settingOf(table, kMvrpRegistration));
    take(port.participant, settingOf(table, kMvrpParticipant));
    take(port.periodicTime, settingOf(table, kMvrpPeriodicTime));
    take(port.joinTime, settingOf(table, kMvrpJoinTime));
    take(port.leaveTime, settingOf(table, kMvrpLeaveTime));
    take(port.leaveAllTime, settingOf(table, kMvrpLeaveAllTime));
    checkTimes(table, port);
    return port;
}

void loadPortLimits(ConfigReader& table, CorrectionSet corrections, u32& maxVlans, u32& maxPdus) {
    if (table.has("max-vlans") && !corrections.has(Correction::Admission))
        table.problem("max-vlans",
                      table.where() +
                          " max-vlans without the correction admission, which asks for it; "
                          "allowed: corrections with \"admission\" in [mvrp]");
    maxVlans = table.number("max-vlans", 1, kLastVlan, "VLANs").value_or(maxVlans);
    maxPdus = table.number("max-pdus", 1, kMostPdus, "PDUs a second").value_or(maxPdus);
}

void loadManagement(ConfigReader& top, HostConfig& config) {
    auto table = top.table("management");
    if (!table) {
        if (config.network.driver == DriverKind::LinuxBridge)
            config.otherPorts = linuxPortDefaults();
        return;
    }
    config.otherPorts = loadTimes(*table, config.network.driver);
    config.management.enable = onOff(*table, kMvrpEnableName);
    config.management.compliance = onOff(*table, kMvrpComplianceName);
    if (config.network.driver == DriverKind::LinuxBridge)
        table->refuseKeys(kPortTables,
                          "names ports by unit, which a Linux bridge does not have; allowed: mvrp, "
                          "registration, participant and the times in [[port]]");
    else
        for (ConfigReader& port : table->tables("port"))
            loadManagedPort(port, config);
    table->finish();
    // On a Linux bridge a [[port]] that takes part enables, too, and is read later.
    const bool linuxBridge = config.network.driver == DriverKind::LinuxBridge;
    const u32 enable = config.management.enable.value_or(u32{linuxBridge ? MVRP_ON : MVRP_OFF});
    if (config.management.compliance == MVRP_ON && enable != u32{MVRP_ON})
        table->problem("compliance", "[management] compliance = true without enable = true");
}

}  // namespace platform
