// SPDX-License-Identifier: MIT
#include "cli/config/running_config.h"

#include <algorithm>
#include <array>

#include "cli/client/names.h"
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

/// A setting of a port: in the file, and where it runs.
struct Setting {
    MvrpSetting what;
    std::optional<u32> PortManagement::*file;
    u32 PortSettings::*running;
};

constexpr std::array kSettings = {
    Setting{kMvrpRegistration, &PortManagement::registration, &PortSettings::registration},
    Setting{kMvrpParticipant, &PortManagement::participant, &PortSettings::participant},
    // From the longest to the shortest: each is checked against the next longer one.
    Setting{kMvrpLeaveAllTime, &PortManagement::leaveAllTime, &PortSettings::leaveAllTime},
    Setting{kMvrpLeaveTime, &PortManagement::leaveTime, &PortSettings::leaveTime},
    Setting{kMvrpJoinTime, &PortManagement::joinTime, &PortSettings::joinTime},
    Setting{kMvrpPeriodicTime, &PortManagement::periodicTime, &PortSettings::periodicTime},
};

std::string wordOf(const Setting& setting, u32 value) {
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
        for (const Setting& setting : kSettings) {
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

/// A text as TOML writes it.
std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

std::string line(const std::string& key, const std::string& value) {
    return key + " = " + value + "\n";
}

std::string boolean(bool value) {
    return value ? "true" : "false";
}

std::string portTable(const PortView& view, const PortConfig* before) {
    const SwitchPortRecord& port = view.port;
    const bool aggregation = port.endType == static_cast<u32>(QorEndType::Aggregation);
    std::string text = "\n[[port]]\n" + line("unit", std::to_string(port.unit)) +
                       line("name", quoted(port.name.data()));
    if (aggregation)
        text += line("kind", quoted("aggregation"));
    text += line("mac", quoted(formatMac(port.mac))) + line("mtu", std::to_string(port.mtu)) +
            line("pvid", std::to_string(port.pvid)) +
            line("untagged", quoted(platform::formatVlanRanges(untaggedOf(view)))) +
            line("permit", quoted(platform::formatVlanRanges(view.permittedTagged))) +
            line("link", quoted(port.link == 1 ? "up" : "down"));
    if (port.aggregation != 0)
        text += line("aggregation", std::to_string(port.aggregation));
    else
        text += line("eligible", boolean(port.eligible == 1));
    text += line("cable", quoted(port.cable.data())) +
            line("wire-format", quoted(nameOf(kWireForms, port.wireForm)));
    if (before != nullptr && !before->recordFile.empty())
        text += line("record", quoted(before->recordFile));
    if (before != nullptr && !before->replayFile.empty())
        text += line("replay", quoted(before->replayFile));
    return text;
}

/// The first key of a table's header, "port" of "[[port]]"; empty for any other line.
std::string tableOf(const std::string& lineText) {
    const std::size_t open = lineText.find_first_not_of(" \t");
    if (open == std::string::npos || lineText[open] != '[')
        return {};
    const std::size_t begin = lineText.find_first_not_of("[ \t", open);
    const std::size_t end = lineText.find_first_of(".] \t", begin);
    return begin == std::string::npos || end == std::string::npos
               ? std::string()
               : lineText.substr(begin, end - begin);
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
        return "\n[mvrp]\n" + line("corrections", quoted(platform::formatCorrections(on)));
    std::string names;
    for (const std::string_view name : kCorrectionNames)
        if (on.has(*correctionOfName(name)))
            names += (names.empty() ? "" : ", ") + quoted(std::string(name));
    return "\n[mvrp]\n" + line("corrections", "[" + names + "]");
}

std::string formatManagement(const RunningConfig& running) {
    std::string text = "\n[management]\n" + line(kMvrpEnableName, boolean(running.global.enabled)) +
                       line(kMvrpComplianceName, boolean(running.global.compliance));
    for (const PortView& view : running.vlans.ports) {
        if (!view.settings || !view.settings->enabled)
            continue;
        text += "\n[[management.port]]\n" + line("unit", std::to_string(view.port.unit)) +
                line(kMvrpEnableName, "true");
        for (const Setting& setting : kSettings) {
            const std::string word = wordOf(setting, (*view.settings).*setting.running);
            text += line(setting.what.name, setting.what.words.empty() ? word : quoted(word));
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
           line("ids", quoted(platform::formatVlanRanges(running.vlans.staticVlans)));
}

std::string replaceTables(const std::string& document, const std::vector<std::string>& tables,
                          const std::string& text) {
    std::string kept;
    std::string waiting;  // comments and blank lines: of whatever comes after them
    bool drop = false;
    for (std::size_t start = 0; start < document.size();) {
        const std::size_t end = std::min(document.find('\n', start), document.size() - 1) + 1;
        const std::string lineText = document.substr(start, end - start);
        start = end;
        const std::size_t first = lineText.find_first_not_of(" \t\r\n");
        if (first == std::string::npos || lineText[first] == '#') {
            waiting += lineText;
            continue;
        }
        if (const std::string table = tableOf(lineText); !table.empty())
            drop = std::ranges::find(tables, table) != tables.end();
        if (!drop)
            kept += waiting + lineText;
        waiting.clear();
    }
    kept += drop ? "" : waiting;
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
