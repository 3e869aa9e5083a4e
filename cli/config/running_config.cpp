// SPDX-License-Identifier: MIT
#include "cli/config/running_config.h"

#include <algorithm>
#include <array>

#include "cli/client/names.h"
#include "cli/config/toml_text.h"
#include "cli/print/words.h"
#include "platform/contract/corrections.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_if.h"
#include "platform/model/corrections.h"

namespace cli {

namespace {

using platform::HostConfig;
using platform::PortConfig;
using platform::PortManagement;
using platform::SwitchPortRecord;
using platform::VlanBitmap;

std::string wordOf(const PortSetting& setting, u32 value) {
    return setting.what.words.empty() ? std::to_string(value) : nameOf(setting.what.words, value);
}

std::string onOff(bool on) {
    return on ? "on" : "off";
}

VlanBitmap untaggedOf(const PortView& view) {
    VlanBitmap untagged{};
    std::ranges::transform(view.permitted, view.permittedTagged, untagged.begin(),
                           [](u8 all, u8 tagged) { return static_cast<u8>(all & ~tagged); });
    return untagged;
}

class Comparison {
  public:
    Comparison(const HostConfig& file, const RunningConfig& running)
        : file_(file), running_(running) {}

    std::vector<ConfigDifference> compare() {
        if (const auto& corrections = running_.global.corrections)
            compareWords("", "corrections", platform::formatCorrections(file_.corrections),
                         platform::formatCorrections(CorrectionSet::ofBits(corrections->on)));
        compareWords("", kMvrpEnableName,
                     onOff(file_.management.enable.value_or(MVRP_OFF) == MVRP_ON),
                     onOff(running_.global.enabled));
        compareWords("", kMvrpComplianceName,
                     onOff(file_.management.compliance.value_or(MVRP_OFF) == MVRP_ON),
                     onOff(running_.global.compliance));
        const bool soft = file_.network.driver == platform::DriverKind::SoftwareSwitch;
        ofSwitch_ = true;
        if (soft)
            compareWords("", "vlan ids", platform::formatVlanRanges(file_.network.staticVlans),
                         platform::formatVlanRanges(running_.vlans.staticVlans));
        for (const PortView& view : running_.vlans.ports) {
            ofSwitch_ = false;
            compareManagement(view);
            ofSwitch_ = true;
            if (soft)
                comparePort(view);
            else
                compareRule(view);
        }
        for (const PortConfig& port : file_.network.ports)
            compareMissing(port);
        return std::move(differences_);
    }

  private:
    void compareWords(const std::string& port, const char* setting, const std::string& file,
                      const std::string& running) {
        if (file != running)
            differences_.push_back({port, setting, file, running, ofSwitch_});
    }

    PortManagement managementOf(const SwitchPortRecord& port) const {
        if (file_.network.driver == platform::DriverKind::LinuxBridge)
            return file_.network.linuxBridge.ruleOf(port.name.data()).management;
        const auto found = file_.management.ports.find(port.unit);
        return found == file_.management.ports.end() ? PortManagement{} : found->second;
    }

    void compareManagement(const PortView& view) {
        const PortManagement wanted = managementOf(view.port);
        const std::string name = view.port.name.data();
        const bool runs = view.settings && view.settings->enabled;
        compareWords(name, kMvrpEnableName, onOff(wanted.enable.value_or(MVRP_OFF) == MVRP_ON),
                     onOff(runs));
        for (const PortSetting& setting : kPortSettings) {
            if (runs)
                compareWords(name, setting.what.name,
                             wordOf(setting, (wanted.*setting.file).value_or(setting.what.initial)),
                             wordOf(setting, (*view.settings).*setting.running));
        }
    }

    const PortConfig* configured(u32 unit) const {
        const auto found = std::ranges::find(file_.network.ports, unit, &PortConfig::unit);
        return found == file_.network.ports.end() ? nullptr : &*found;
    }

    void comparePort(const PortView& view) {
        const SwitchPortRecord& port = view.port;
        const std::string name = port.name.data();
        const PortConfig* config = configured(port.unit);
        if (config == nullptr) {
            differences_.push_back({name, "port", "not there", "there", true});
            return;
        }
        compareWords(name, "name", config->name, name);
        compareWords(name, "pvid", std::to_string(config->pvid), std::to_string(port.pvid));
        compareWords(name, "permit", platform::formatVlanRanges(config->permitTagged),
                     platform::formatVlanRanges(view.permittedTagged));
        compareWords(name, "untagged", platform::formatVlanRanges(config->permitUntagged),
                     platform::formatVlanRanges(untaggedOf(view)));
        compareWords(name, "link", config->linkUp ? "up" : "down", port.link == 1 ? "up" : "down");
        compareWords(name, "cable", platform::formatCable(config->cable), port.cable.data());
        compareWords(name, "wire-format", nameOf(kWireForms, static_cast<u32>(config->wireForm)),
                     nameOf(kWireForms, port.wireForm));
        compareWords(name, "aggregation", std::to_string(config->aggregation),
                     std::to_string(port.aggregation));
    }

    void compareRule(const PortView& view) {
        const std::string name = view.port.name.data();
        const auto& rule = file_.network.linuxBridge.ruleOf(name);
        compareWords(name, "wire-format", nameOf(kWireForms, static_cast<u32>(rule.wireForm)),
                     nameOf(kWireForms, view.port.wireForm));
    }

    void compareMissing(const PortConfig& port) {
        const auto& ports = running_.vlans.ports;
        const bool there = std::ranges::any_of(
            ports, [&port](const PortView& view) { return view.port.unit == port.unit; });
        if (!there)
            differences_.push_back({port.name, "port", "there", "not there", true});
    }

    const HostConfig& file_;
    const RunningConfig& running_;
    bool ofSwitch_ = false;  ///< what is compared at the moment
    std::vector<ConfigDifference> differences_;
};

std::string portTable(const PortView& view, const PortConfig* before) {
    const SwitchPortRecord& port = view.port;
    const bool aggregation = port.endType == static_cast<u32>(QorEndType::Aggregation);
    std::string text = "\n[[port]]\n" + tomlLine("unit", std::to_string(port.unit)) +
                       tomlLine("name", tomlQuoted(port.name.data()));
    if (aggregation)
        text += tomlLine("kind", tomlQuoted("aggregation"));
    text += tomlLine("mac", tomlQuoted(formatMac(port.mac))) +
            tomlLine("mtu", std::to_string(port.mtu)) +
            tomlLine("pvid", std::to_string(port.pvid)) +
            tomlLine("untagged", tomlQuoted(platform::formatVlanRanges(untaggedOf(view)))) +
            tomlLine("permit", tomlQuoted(platform::formatVlanRanges(view.permittedTagged))) +
            tomlLine("link", tomlQuoted(port.link == 1 ? "up" : "down"));
    if (port.aggregation != 0)
        text += tomlLine("aggregation", std::to_string(port.aggregation));
    else
        text += tomlLine("eligible", tomlBoolean(port.eligible == 1));
    text += tomlLine("cable", tomlQuoted(port.cable.data())) +
            tomlLine("wire-format", tomlQuoted(nameOf(kWireForms, port.wireForm)));
    if (before != nullptr && !before->recordFile.empty())
        text += tomlLine("record", tomlQuoted(before->recordFile));
    if (before != nullptr && !before->replayFile.empty())
        text += tomlLine("replay", tomlQuoted(before->replayFile));
    return text;
}

}  // namespace

std::vector<ConfigDifference> compareConfig(const HostConfig& file, const RunningConfig& running) {
    return Comparison(file, running).compare();
}

std::string formatOptions(const RunningConfig& running) {
    if (!running.global.corrections)
        return {};
    const CorrectionSet on = CorrectionSet::ofBits(running.global.corrections->on);
    if (on.empty() || on == CorrectionSet::all())
        return "\n[mvrp]\n" + tomlLine("corrections", tomlQuoted(platform::formatCorrections(on)));
    std::string names;
    for (const std::string_view name : kCorrectionNames)
        if (on.has(*correctionOfName(name)))
            names += (names.empty() ? "" : ", ") + tomlQuoted(std::string(name));
    return "\n[mvrp]\n" + tomlLine("corrections", "[" + names + "]");
}

std::string formatManagement(const RunningConfig& running) {
    std::string text = "\n[management]\n" +
                       tomlLine(kMvrpEnableName, tomlBoolean(running.global.enabled)) +
                       tomlLine(kMvrpComplianceName, tomlBoolean(running.global.compliance));
    for (const PortView& view : running.vlans.ports) {
        if (!view.settings || !view.settings->enabled)
            continue;
        text += "\n[[management.port]]\n" + tomlLine("unit", std::to_string(view.port.unit)) +
                tomlLine(kMvrpEnableName, "true");
        for (const PortSetting& setting : kPortSettings) {
            const std::string word = wordOf(setting, (*view.settings).*setting.running);
            text +=
                tomlLine(setting.what.name, setting.what.words.empty() ? word : tomlQuoted(word));
        }
    }
    return text;
}

std::string formatSwitch(const RunningConfig& running, const HostConfig* file) {
    std::string text;
    for (const PortView& view : running.vlans.ports) {
        const PortConfig* before = nullptr;
        if (file != nullptr) {
            const auto found =
                std::ranges::find(file->network.ports, view.port.unit, &PortConfig::unit);
            before = found == file->network.ports.end() ? nullptr : &*found;
        }
        text += portTable(view, before);
    }
    return text + "\n[[vlan]]\n" +
           tomlLine("ids", tomlQuoted(platform::formatVlanRanges(running.vlans.staticVlans)));
}

std::string replaceTables(const std::string& document, const std::vector<std::string>& tables,
                          const std::string& text) {
    std::string kept;
    for (const TomlBlock& block : tomlBlocks(document))
        if (std::ranges::find(tables, block.table) == tables.end())
            kept += block.text;
    while (kept.ends_with("\n\n"))
        kept.pop_back();
    return kept + (kept.empty() || kept.ends_with('\n') ? "" : "\n") + text;
}

std::string differencesText(const std::vector<ConfigDifference>& differences, const Style& style) {
    if (differences.empty())
        return "What runs is what the file says.\n";
    Table table({"Port", "Setting", "File", "Running"});
    for (const ConfigDifference& difference : differences)
        table.add({difference.port.empty() ? "-" : difference.port,
                   difference.setting,
                   {difference.file, Colour::Dim},
                   {difference.running, Colour::Warn}});
    return table.print(style);
}

}  // namespace cli
