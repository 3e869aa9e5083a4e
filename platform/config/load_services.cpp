// SPDX-License-Identifier: MIT
//
// [mvrp], [command], [debug], [standby] and [store].
#include <grp.h>

#include <algorithm>
#include <climits>

#include "platform/config/load_sections.h"

namespace platform {
namespace {

constexpr std::size_t kMaxGroupName = 32;
constexpr u32 kMostTakeOverSeconds = 86400;
constexpr u32 kLeastHeartbeatMs = 50;
constexpr u32 kMostHeartbeatMs = 10000;
constexpr u32 kLeastLostAfterMs = 200;
constexpr u32 kLeastHeartbeatsToLose = 2;
constexpr u64 kMsPerSecond = 1000;
constexpr u32 kMostLostAfterMs = 60000;

void loadOption(ConfigReader& table, const char* key, u32 most, HostConfig& config) {
    const auto value = table.number(key, 0, most);
    if (value)
        config.options[std::string("mvrp.") + key] = std::to_string(*value);
}

/// A list of directories. @return nothing when it is absent or wrong
std::optional<std::vector<std::string>> loadDirectories(ConfigReader& table, const char* key) {
    const ConfigValue* value = table.find(key);
    if (value == nullptr)
        return std::nullopt;
    const auto isDirectory = [](const ConfigValue& item) {
        return item.kind == ConfigKind::Text && item.text.starts_with('/') &&
               item.text.size() < PATH_MAX;
    };
    if (value->kind != ConfigKind::Array || !std::ranges::all_of(value->items, isDirectory)) {
        table.refuse(key, "a list of absolute paths of directories, each a text");
        return std::nullopt;
    }
    std::vector<std::string> directories;
    for (const ConfigValue& item : value->items)
        directories.push_back(item.text);
    return directories;
}

/// The name of a group; empty when it is absent.
std::string loadGroup(ConfigReader& table, const char* key) {
    const std::string name = table.text(key, kMaxGroupName).value_or("");
    if (!name.empty() && getgrnam(name.c_str()) == nullptr)
        table.refuse(key, "the name of a group of this system");
    return name;
}

void loadCommand(ConfigReader& top, HostConfig& config) {
    auto table = top.table("command");
    if (!table)
        return;
    config.commandGroup = loadGroup(*table, "group");
    config.readGroup = loadGroup(*table, "read-group");
    config.requestDirectories = loadDirectories(*table, "directories");
    table->finish();
}

void loadStandby(ConfigReader& top, StandbyConfig& standby) {
    auto table = top.table("standby");
    if (!table)
        return;
    standby.configured = true;
    table->require("role", "\"active\" or \"standby\"");
    const auto role = table->word("role", {{"active", static_cast<u32>(HostRole::Active)},
                                           {"standby", static_cast<u32>(HostRole::Standby)}});
    standby.role = static_cast<HostRole>(role.value_or(static_cast<u32>(standby.role)));
    standby.peerPath = table->text("peer", kMaxSocketPath).value_or("");
    standby.listenPath = table->text("listen", kMaxSocketPath).value_or("");
    standby.heartbeatMs =
        table->number("heartbeat", kLeastHeartbeatMs, kMostHeartbeatMs, "milliseconds")
            .value_or(kStandardHeartbeatMs);
    standby.lostAfterMs =
        table->number("lost-after", kLeastLostAfterMs, kMostLostAfterMs, "milliseconds")
            .value_or(kStandardLostAfterMs);
    standby.takeOverAfterS =
        table->number("take-over-after", 0, kMostTakeOverSeconds, "seconds").value_or(0);
    if (standby.lostAfterMs < kLeastHeartbeatsToLose * standby.heartbeatMs)
        table->refuse(table->has("lost-after") ? "lost-after" : "heartbeat",
                      "a lost-after of at least two heartbeats");
    if (standby.takeOverAfterS != 0 && standby.takeOverAfterS * kMsPerSecond < standby.lostAfterMs)
        table->refuse("take-over-after", "0, or at least the time of lost-after");
    table->finish();
    if (role && standby.role == HostRole::Active)
        table->require("peer", "the socket path that the standby listens on");
    if (role && standby.role == HostRole::Standby)
        table->require("listen", "the socket path that the active connects to");
}

/// On a Linux bridge real neighbours are there; the software switch does what it has always done.
CorrectionSet standardCorrections(DriverKind driver) {
    return driver == DriverKind::LinuxBridge ? CorrectionSet::all() : CorrectionSet{};
}

}  // namespace

void loadOptions(ConfigReader& top, HostConfig& config) {
    config.corrections = standardCorrections(config.network.driver);
    auto table = top.table("mvrp");
    if (!table)
        return;
    if (const auto enable = table->boolean("enable"))
        config.options["mvrp.enable"] = *enable ? "true" : "false";
    loadOption(*table, "maxifnum", UINT16_MAX, config);
    loadOption(*table, "maxvlannumperif", kLastVlan + 1, config);
    loadOption(*table, "vlannumpertimes", UINT16_MAX, config);
    loadOption(*table, "vlannumpertimesagg", UINT16_MAX, config);
    config.corrections = loadCorrections(*table).value_or(config.corrections);
    table->finish();
}

void loadServices(ConfigReader& top, HostConfig& config) {
    loadCommand(top, config);
    if (auto table = top.table("debug")) {
        config.debugSocket = table->boolean("socket").value_or(false);
        table->finish();
    }
    loadStandby(top, config.standby);
    if (auto table = top.table("store")) {
        config.storeFile = table->text("file", PATH_MAX - 1, 0).value_or("");
        table->finish();
    }
}

}  // namespace platform
