// SPDX-License-Identifier: MIT
//
// What a configuration file says to the Linux driver: its part of [switch], and [[port]].
#include <fnmatch.h>

#include <algorithm>
#include <climits>

#include "platform/config/load_sections.h"
#include "platform/contract/management.h"

namespace platform {
namespace {

/// Longest name of a kernel interface, and of a pattern for one.
constexpr std::size_t kMaxInterfaceName = 15;
constexpr std::size_t kMaxPattern = 63;
constexpr std::string_view kWildcards = "*?[";

constexpr u32 kMostLingerMs = 60'000;
constexpr const char* kLingerAllowed =
    "\"default\" (the leave time of the port, at least a second and two join times), or 0 to 60000 "
    "ms";

// What only the software switch's tables have.
constexpr std::array<std::string_view, 11> kSoftPortKeys = {
    "unit", "kind",     "mac",   "mtu",         "pvid",  "untagged",
    "link", "eligible", "cable", "aggregation", "replay"};
struct SoftSection {
    std::string_view key;
    const char* problem;
};
constexpr std::array<SoftSection, 2> kSoftSections = {{
    {"vlan",
     "[[vlan]] belongs to driver = \"soft\"; allowed: static VLANs as `bridge vlan` configures "
     "them"},
    {"standby",
     "[standby] belongs to driver = \"soft\"; allowed: one daemon for a Linux bridge, which adopts "
     "what it finds at a restart"},
}};

void checkUnique(ConfigReader& table, const LinuxPortRule& rule,
                 const std::vector<LinuxPortRule>& earlier) {
    if (std::ranges::find(earlier, rule.pattern, &LinuxPortRule::pattern) != earlier.end())
        table.problem("name", "[[port]] name \"" + rule.pattern +
                                  "\" is there twice; allowed: one [[port]] for each name");
}

LinuxPortRule loadRule(ConfigReader& table, const LinuxPortRule& rest, CorrectionSet corrections) {
    LinuxPortRule rule = rest;
    table.require("name", "the name of an interface, or a pattern such as \"tap*\"");
    rule.pattern = table.text("name", kMaxPattern).value_or("");
    rule.permit = table.vlans("permit").value_or(rule.permit);
    rule.wireForm = loadWireForm(table, rule.wireForm);
    rule.recordFile = table.text("record", PATH_MAX - 1).value_or("");
    if (!rule.recordFile.empty() && rule.pattern.find_first_of(kWildcards) != std::string::npos)
        table.problem("record", "[[port]] record is one file for all ports named \"" +
                                    rule.pattern + "\"; allowed: with a name without *, ? and [");
    loadPortLimits(table, corrections, rule.maxVlans, rule.maxPdus);
    rule.management = loadPortManagement(table, "mvrp", rest.management);
    table.refuseKeys(kSoftPortKeys,
                     "belongs to driver = \"soft\"; allowed: name, permit, max-vlans, max-pdus, "
                     "wire-format, record, mvrp, registration, participant and the times");
    table.finish();
    return rule;
}

void loadLinger(ConfigReader& table, LinuxBridgeConfig& bridge) {
    const ConfigValue* value = table.find("linger");
    if (value == nullptr || (value->kind == ConfigKind::Text && value->text == "default"))
        return;
    if (value->kind == ConfigKind::Integer && value->integer >= 0 &&
        value->integer <= kMostLingerMs)
        bridge.lingerMs = static_cast<u32>(value->integer);
    else
        table.refuse("linger", kLingerAllowed);
}

}  // namespace

const LinuxPortRule& LinuxBridgeConfig::ruleOf(const std::string& interfaceName) const {
    const auto found = std::ranges::find_if(rules, [&interfaceName](const LinuxPortRule& rule) {
        return fnmatch(rule.pattern.c_str(), interfaceName.c_str(), 0) == 0;
    });
    return found == rules.end() ? rest : *found;
}

void loadLinuxSwitch(ConfigReader& table, LinuxBridgeConfig& bridge) {
    table.require("bridge", "the name of a VLAN-aware bridge, for example \"br0\"");
    bridge.bridge = table.text("bridge", kMaxInterfaceName).value_or("");
    bridge.staticVlans = static_cast<StaticVlans>(
        table
            .word("static", {{"carried", static_cast<u32>(StaticVlans::Carried)},
                             {"as-configured", static_cast<u32>(StaticVlans::AsConfigured)}})
            .value_or(static_cast<u32>(bridge.staticVlans)));
    bridge.onStop =
        static_cast<OnStop>(table
                                .word("on-stop", {{"remove", static_cast<u32>(OnStop::Remove)},
                                                  {"keep", static_cast<u32>(OnStop::Keep)}})
                                .value_or(static_cast<u32>(bridge.onStop)));
    bridge.guard = static_cast<GuardedPorts>(
        table
            .word("guard", {{"all-ports", static_cast<u32>(GuardedPorts::All)},
                            {"taking-part", static_cast<u32>(GuardedPorts::TakingPart)}})
            .value_or(static_cast<u32>(bridge.guard)));
    bridge.vlanOne =
        static_cast<VlanOne>(table
                                 .word("vlan-1", {{"as-found", static_cast<u32>(VlanOne::AsFound)},
                                                  {"always", static_cast<u32>(VlanOne::Always)}})
                                 .value_or(static_cast<u32>(bridge.vlanOne)));
    loadLinger(table, bridge);
}

void loadLinuxPorts(ConfigReader& top, HostConfig& config) {
    LinuxBridgeConfig& bridge = config.network.linuxBridge;
    bridge.rest.management = config.otherPorts;
    std::vector<LinuxPortRule>& rules = bridge.rules;
    std::optional<u32>& enable = config.management.enable;
    for (ConfigReader& table : top.tables("port")) {
        const LinuxPortRule rule = loadRule(table, bridge.rest, config.corrections);
        checkUnique(table, rule, rules);
        // A port that is to take part says that the protocol is on.
        if (rule.management.enable == MVRP_ON && enable.value_or(u32{MVRP_ON}) != u32{MVRP_ON})
            table.problem("mvrp",
                          "[[port]] mvrp = true with enable = false in [management]; allowed: "
                          "enable = true there, or without it");
        else if (rule.management.enable == MVRP_ON)
            enable = u32{MVRP_ON};
        rules.push_back(rule);
    }
    for (const SoftSection& section : kSoftSections)
        if (top.has(section.key))
            top.problem(section.key, section.problem);
}

}  // namespace platform
