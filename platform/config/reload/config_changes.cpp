// SPDX-License-Identifier: MIT
#include "platform/config/reload/config_changes.h"

#include <algorithm>
#include <span>

#include "platform/config/management_commands.h"
#include "platform/contract/management.h"

namespace platform {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kNothingSaid = "not given";

template <typename Record>
struct Field {
    const char* name;
    std::string (*text)(const Record& record);
};

std::string yesNo(bool value) {
    return value ? "true" : "false";
}

std::string fileText(const std::string& file) {
    return file.empty() ? kNothingSaid : file;
}

std::string limitText(u32 limit) {
    return limit == 0 ? kNothingSaid : std::to_string(limit);
}

std::string formText(WireForm form) {
    return form == WireForm::Native ? "native" : form == WireForm::Ieee ? "ieee" : "auto";
}

void addChange(Lines& lines, const std::string& what, const std::string& before,
               const std::string& next) {
    if (before != next)
        lines.push_back(what + ": " + before + " -> " + next);
}

template <typename Record>
void addChanges(Lines& lines, const std::string& title, std::span<const Field<Record>> fields,
                const Record& before, const Record& next) {
    for (const Field<Record>& field : fields)
        addChange(lines, title + " " + field.name, field.text(before), field.text(next));
}

constexpr Field<PortConfig> kPortFields[] = {
    {"name", [](const PortConfig& port) { return port.name; }},
    {"kind",
     [](const PortConfig& port) {
         return std::string(port.isAggregation ? "aggregation" : "port");
     }},
    {"mac", [](const PortConfig& port) { return formatMac(port.mac); }},
    {"mtu", [](const PortConfig& port) { return std::to_string(port.mtu); }},
    {"pvid", [](const PortConfig& port) { return std::to_string(port.pvid); }},
    {"permit", [](const PortConfig& port) { return formatVlanRanges(port.permitTagged); }},
    {"untagged", [](const PortConfig& port) { return formatVlanRanges(port.permitUntagged); }},
    {"link", [](const PortConfig& port) { return std::string(port.linkUp ? "up" : "down"); }},
    {"eligible", [](const PortConfig& port) { return yesNo(port.eligible); }},
    {"cable", [](const PortConfig& port) { return formatCable(port.cable); }},
    {"wire-format", [](const PortConfig& port) { return formText(port.wireForm); }},
    {"aggregation", [](const PortConfig& port) { return limitText(port.aggregation); }},
    {"max-vlans", [](const PortConfig& port) { return limitText(port.maxVlans); }},
    {"max-pdus", [](const PortConfig& port) { return limitText(port.maxPdus); }},
    {"record", [](const PortConfig& port) { return fileText(port.recordFile); }},
    {"replay", [](const PortConfig& port) { return fileText(port.replayFile); }},
};

constexpr Field<LinuxPortRule> kRuleFields[] = {
    {"permit", [](const LinuxPortRule& rule) { return formatVlanRanges(rule.permit); }},
    {"wire-format", [](const LinuxPortRule& rule) { return formText(rule.wireForm); }},
    {"max-vlans", [](const LinuxPortRule& rule) { return limitText(rule.maxVlans); }},
    {"max-pdus", [](const LinuxPortRule& rule) { return limitText(rule.maxPdus); }},
    {"record", [](const LinuxPortRule& rule) { return fileText(rule.recordFile); }},
};

constexpr Field<LinuxBridgeConfig> kBridgeFields[] = {
    {"static",
     [](const LinuxBridgeConfig& bridge) {
         return std::string(bridge.staticVlans == StaticVlans::Carried ? "carried"
                                                                       : "as-configured");
     }},
    {"on-stop",
     [](const LinuxBridgeConfig& bridge) {
         return std::string(bridge.onStop == OnStop::Remove ? "remove" : "keep");
     }},
    {"guard",
     [](const LinuxBridgeConfig& bridge) {
         return std::string(bridge.guard == GuardedPorts::All ? "all-ports" : "taking-part");
     }},
    {"vlan-1",
     [](const LinuxBridgeConfig& bridge) {
         return std::string(bridge.vlanOne == VlanOne::AsFound ? "as-found" : "always");
     }},
    {"linger",
     [](const LinuxBridgeConfig& bridge) {
         return bridge.lingerMs ? std::to_string(*bridge.lingerMs) : std::string("default");
     }},
};

std::string settingText(std::span<const MvrpWord> words, std::optional<u32> value) {
    if (!value)
        return kNothingSaid;
    const auto word = std::ranges::find(words, *value, &MvrpWord::value);
    return word == words.end() ? std::to_string(*value) : word->text;
}

void addPortManagement(Lines& lines, const std::string& title, const char* enableName,
                       const PortManagement& before, const PortManagement& next) {
    addChange(lines, title + " " + enableName, settingText(kMvrpSwitchWords, before.enable),
              settingText(kMvrpSwitchWords, next.enable));
    for (std::size_t i = 0; i < kMvrpPortSettings.size(); i++) {
        const MvrpSetting& setting = kMvrpPortSettings[i];
        addChange(lines, title + " " + setting.name,
                  settingText(setting.words, before.*kPortSettingFields[i]),
                  settingText(setting.words, next.*kPortSettingFields[i]));
    }
}

/// What went, what came, and what is different of the others, each under its title.
template <typename Record, typename Key, typename Title, typename Compare>
void addRecords(Lines& lines, const std::vector<Record>& before, const std::vector<Record>& next,
                Key key, Title title, Compare compare) {
    const auto find = [&key](const std::vector<Record>& list, const Record& wanted) {
        const auto found = std::ranges::find(list, wanted.*key, key);
        return found == list.end() ? nullptr : &*found;
    };
    for (const Record& old : before)
        if (find(next, old) == nullptr)
            lines.push_back(title(old) + " is gone");
    for (const Record& now : next) {
        const Record* old = find(before, now);
        if (old == nullptr)
            lines.push_back(title(now) + " is new");
        else
            compare(title(*old), *old, now);
    }
}

void addPorts(Lines& lines, const SwitchConfig& before, const SwitchConfig& next) {
    addRecords(
        lines, before.ports, next.ports, &PortConfig::unit,
        [](const PortConfig& port) {
            return "[[port]] " + std::to_string(port.unit) + " (" + port.name + ")";
        },
        [&lines](const std::string& title, const PortConfig& old, const PortConfig& now) {
            addChanges<PortConfig>(lines, title, kPortFields, old, now);
        });
    addChange(lines, "[[vlan]] ids", formatVlanRanges(before.staticVlans),
              formatVlanRanges(next.staticVlans));
}

void addLinux(Lines& lines, const LinuxBridgeConfig& before, const LinuxBridgeConfig& next) {
    addChanges<LinuxBridgeConfig>(lines, "[switch]", kBridgeFields, before, next);
    addRecords(
        lines, before.rules, next.rules, &LinuxPortRule::pattern,
        [](const LinuxPortRule& rule) { return "[[port]] " + rule.pattern; },
        [&lines](const std::string& title, const LinuxPortRule& old, const LinuxPortRule& now) {
            addChanges<LinuxPortRule>(lines, title, kRuleFields, old, now);
            addPortManagement(lines, title, "mvrp", old.management, now.management);
        });
}

void addManagement(Lines& lines, const ManagementConfig& before, const ManagementConfig& next) {
    addChange(lines, std::string("[management] ") + kMvrpEnableName,
              settingText(kMvrpSwitchWords, before.enable),
              settingText(kMvrpSwitchWords, next.enable));
    addChange(lines, std::string("[management] ") + kMvrpComplianceName,
              settingText(kMvrpSwitchWords, before.compliance),
              settingText(kMvrpSwitchWords, next.compliance));
    const auto titleOf = [](u32 unit) { return "[[management.port]] " + std::to_string(unit); };
    for (const auto& [unit, settings] : before.ports)
        if (!next.ports.contains(unit))
            lines.push_back(titleOf(unit) + " is gone");
    for (const auto& [unit, settings] : next.ports) {
        const auto old = before.ports.find(unit);
        addPortManagement(lines, titleOf(unit), kMvrpEnableName,
                          old == before.ports.end() ? PortManagement{} : old->second, settings);
    }
}

}  // namespace

std::vector<std::string> configChanges(const HostConfig& before, const HostConfig& next) {
    Lines lines;
    addChange(lines, "[switch] name", before.network.name, next.network.name);
    addChange(lines, "[switch] ask-when-forwarding", yesNo(before.network.askWhenForwarding),
              yesNo(next.network.askWhenForwarding));
    addChange(lines, "[switch] loop-guard", yesNo(before.network.loopGuard),
              yesNo(next.network.loopGuard));
    addPorts(lines, before.network, next.network);
    addLinux(lines, before.network.linuxBridge, next.network.linuxBridge);
    addManagement(lines, before.management, next.management);
    addPortManagement(lines, "[management] other ports'", kMvrpEnableName, before.otherPorts,
                      next.otherPorts);
    return lines;
}

std::vector<std::string> fixedChanges(const HostConfig& before, const HostConfig& next) {
    Lines lines;
    const auto add = [&lines](bool differs, const char* section) {
        if (differs)
            lines.push_back(std::string(section) +
                            " has changed in the configuration; this takes effect at the next "
                            "start");
    };
    add(before.options != next.options, "[mvrp]");
    add(before.corrections != next.corrections, "[mvrp] corrections");
    add(before.network.driver != next.network.driver, "[switch] driver");
    add(before.network.linuxBridge.bridge != next.network.linuxBridge.bridge, "[switch] bridge");
    add(before.commandGroup != next.commandGroup || before.readGroup != next.readGroup ||
            before.requestDirectories != next.requestDirectories,
        "[command]");
    add(before.debugSocket != next.debugSocket, "[debug]");
    add(before.standby != next.standby, "[standby]");
    add(before.process != next.process, "[process]");
    add(before.storeFile != next.storeFile, "[store]");
    add(before.metricsListen != next.metricsListen, "[metrics]");
    return lines;
}

}  // namespace platform
