// SPDX-License-Identifier: MIT
#include "cli/config/linux_rules.h"

#include <algorithm>

#include "cli/client/names.h"
#include "cli/config/toml_text.h"

namespace cli {

namespace {

using platform::LinuxBridgeConfig;
using platform::LinuxPortRule;

constexpr const char* kPortTable = "port";
constexpr const char* kManagementTable = "management";

LinuxPortRule ruleOf(const LinuxBridgeConfig& file, const PortView& view) {
    const std::string name = view.port.name.data();
    LinuxPortRule rule = file.ruleOf(name);
    rule.pattern = name;
    rule.wireForm = static_cast<platform::WireForm>(view.port.wireForm);
    const bool runs = view.settings && view.settings->enabled;
    rule.management.enable = runs ? MVRP_ON : MVRP_OFF;
    // What a port that is off was set to is not known any more.
    if (runs)
        for (const PortSetting& setting : kPortSettings)
            rule.management.*setting.file = (*view.settings).*setting.running;
    return rule;
}

/// `key = value` of a table's text in the place of what it says of the key, or after its header.
std::string withKey(const std::string& table, const std::string& key, const std::string& value) {
    std::string text;
    std::string before;  // the header, and the comments before it
    bool found = false;
    for (const std::string& each : linesWithEnds(table)) {
        const std::size_t begin = each.find_first_not_of(" \t");
        const bool isKey = begin != std::string::npos && each.substr(begin).starts_with(key) &&
                           each.find_first_not_of(" \t", begin + key.size()) == each.find('=');
        if (before.empty() && !tableOf(each).empty()) {
            before = text + each;
            text.clear();
            continue;
        }
        text += isKey ? tomlLine(key, value) : each;
        found = found || isKey;
    }
    return before + (found ? "" : tomlLine(key, value)) + text;
}

bool isOn(const std::optional<u32>& setting) {
    return setting.value_or(MVRP_OFF) == MVRP_ON;
}

/// Has [management] say what runs, where it does not.
void followManagement(std::vector<TomlBlock>& blocks, const platform::ManagementConfig& file,
                      const GlobalView& running) {
    const bool enable = isOn(file.enable) != running.enabled;
    const bool compliance = isOn(file.compliance) != running.compliance;
    if (!enable && !compliance)
        return;
    auto found = std::ranges::find(blocks, kManagementTable, &TomlBlock::table);
    if (found == blocks.end())
        found = blocks.insert(blocks.end(), {kManagementTable, "\n[management]\n"});
    if (compliance)
        found->text = withKey(found->text, kMvrpComplianceName, tomlBoolean(running.compliance));
    if (enable)
        found->text = withKey(found->text, kMvrpEnableName, tomlBoolean(running.enabled));
}

}  // namespace

std::vector<LinuxPortRule> changedRules(const LinuxBridgeConfig& file,
                                        const RunningConfig& running) {
    platform::HostConfig config;
    config.network.driver = platform::DriverKind::LinuxBridge;
    config.network.linuxBridge = file;
    const std::vector<ConfigDifference> differences = compareConfig(config, running);
    std::vector<LinuxPortRule> rules;
    for (const PortView& view : running.vlans.ports)
        if (std::ranges::find(differences, view.port.name.data(), &ConfigDifference::port) !=
            differences.end())
            rules.push_back(ruleOf(file, view));
    return rules;
}

std::string formatRule(const LinuxPortRule& rule) {
    const LinuxPortRule standard;
    std::string text = "[[port]]\n" + tomlLine("name", tomlQuoted(rule.pattern)) +
                       tomlLine("mvrp", tomlBoolean(isOn(rule.management.enable)));
    for (const PortSetting& setting : kPortSettings)
        if (const auto value = rule.management.*setting.file)
            text +=
                tomlLine(setting.what.name, setting.what.words.empty()
                                                ? std::to_string(*value)
                                                : tomlQuoted(nameOf(setting.what.words, *value)));
    if (rule.permit != standard.permit)
        text += tomlLine("permit", tomlQuoted(platform::formatVlanRanges(rule.permit)));
    if (rule.wireForm != standard.wireForm)
        text += tomlLine("wire-format",
                         tomlQuoted(nameOf(kWireForms, static_cast<u32>(rule.wireForm))));
    if (rule.maxVlans != standard.maxVlans)
        text += tomlLine("max-vlans", std::to_string(rule.maxVlans));
    if (rule.maxPdus != standard.maxPdus)
        text += tomlLine("max-pdus", std::to_string(rule.maxPdus));
    if (!rule.recordFile.empty())
        text += tomlLine("record", tomlQuoted(rule.recordFile));
    return text;
}

std::string runningDocument(const std::string& document, const platform::HostConfig& file,
                            const RunningConfig& running) {
    const LinuxBridgeConfig& bridge = file.network.linuxBridge;
    std::vector<TomlBlock> blocks = tomlBlocks(document);
    // The tables of the ports are the rules, in the same order.
    std::vector<TomlBlock*> tables;
    for (TomlBlock& block : blocks)
        if (block.table == kPortTable)
            tables.push_back(&block);
    std::string fresh;
    for (const LinuxPortRule& rule : changedRules(bridge, running)) {
        const auto own = std::ranges::find(bridge.rules, rule.pattern, &LinuxPortRule::pattern);
        const auto index = static_cast<std::size_t>(own - bridge.rules.begin());
        const bool holds = bridge.ruleOf(rule.pattern).pattern == rule.pattern;
        const bool hasOwn = own != bridge.rules.end() && index < tables.size();
        if (hasOwn)
            tables[index]->text = holds ? tables[index]->comments() + formatRule(rule) + "\n" : "";
        if (!hasOwn || !holds)
            fresh += formatRule(rule) + "\n";
    }
    if (!fresh.empty()) {
        const auto first = std::ranges::find(blocks, kPortTable, &TomlBlock::table);
        const bool none = first == blocks.end();
        blocks.insert(first, {kPortTable, (none ? "\n" : "") + fresh});
    }
    followManagement(blocks, file.management, running.global);
    std::string text;
    for (const TomlBlock& block : blocks)
        text += block.text;
    return text;
}

}  // namespace cli
