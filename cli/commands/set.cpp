// SPDX-License-Identifier: MIT
#include <algorithm>

#include "cli/client/mistakes.h"
#include "cli/commands/commands.h"
#include "platform/contract/management.h"

namespace cli {

namespace {

using platform::Request;

/// One setting of the switch or of a port.
struct Setting {
    const char* name;
    u32 attribute;
    std::span<const MvrpWord> words;  ///< empty: a number of milliseconds
    std::string help;
};

constexpr u32 kNoLimit = 0xFFFFFFFF;

std::string wordsHelp(std::span<const MvrpWord> words, const char* meaning) {
    return syntaxOf(words) + ": " + meaning;
}

std::string timeHelp(const MvrpSetting& setting, const std::string& more) {
    return std::to_string(setting.least) + " to " + std::to_string(setting.most) + " ms" + more;
}

/// What a value of a port's setting is allowed to be, and what it means.
std::string helpOf(const MvrpSetting& setting) {
    static_assert(kMvrpJoinsPerLeave == 2, "the words below say so");
    switch (setting.attribute) {
        case MVRP_PORT_REGISTRATION_MODE:
            return wordsHelp(setting.words, "which VLANs it registers");
        case MVRP_PORT_PARTICIPANT_MODE:
            return wordsHelp(setting.words, "how it declares");
        case MVRP_PORT_JOIN_TIMEOUT:
            return timeHelp(setting, ", at most half of the leave time");
        case MVRP_PORT_LEAVE_TIMEOUT:
            return timeHelp(setting, ", at least twice the join time, at most the leave-all time");
        case MVRP_PORT_LEAVE_ALL_TIMEOUT:
            return timeHelp(setting, ", at least the leave time");
        default:
            return "ms between repetitions; 0 switches them off";
    }
}

const std::vector<Setting>& globalSettings() {
    static const std::vector<Setting> kSettings = {
        {kMvrpEnableName, MVRP_SCALAR_ENABLE, kMvrpSwitchWords,
         wordsHelp(kMvrpSwitchWords, "the protocol on this switch")},
        {kMvrpComplianceName, MVRP_SCALAR_GVRP_COMPLIANCE, kMvrpSwitchWords,
         wordsHelp(kMvrpSwitchWords, "speak GVRP")},
    };
    return kSettings;
}

/// In the order of the help: the modes, then the times from the shortest to the longest.
const std::vector<Setting>& portSettings() {
    static const std::vector<Setting> kSettings = [] {
        std::vector<Setting> settings = {
            {kMvrpEnableName, MVRP_PORT_ENABLE, kMvrpSwitchWords,
             wordsHelp(kMvrpSwitchWords, "MVRP on this port")},
        };
        for (const MvrpSetting& setting : {kMvrpRegistration, kMvrpParticipant, kMvrpJoinTime,
                                           kMvrpLeaveTime, kMvrpLeaveAllTime, kMvrpPeriodicTime})
            settings.push_back({setting.name, setting.attribute, setting.words, helpOf(setting)});
        return settings;
    }();
    return kSettings;
}

std::string listed(std::span<const Setting> settings) {
    constexpr std::size_t kNameWidth = 16;
    std::string text;
    for (const Setting& setting : settings) {
        std::string name = setting.name;
        name.resize(kNameWidth, ' ');
        text += "\n  " + name + setting.help;
    }
    return text;
}

std::vector<std::string> wordsOf(std::span<const Setting> settings) {
    std::vector<std::string> words;
    for (const Setting& setting : settings)
        words.emplace_back(setting.name);
    return words;
}

const Setting& findSetting(std::span<const Setting> settings, const std::string& name) {
    const auto found = std::ranges::find(settings, name, &Setting::name);
    if (found != settings.end())
        return *found;
    throw UsageError("there is no setting '" + name + "'" + guess(name, wordsOf(settings)) +
                     "; allowed are:" + listed(settings));
}

u32 settingValue(const Context& context, std::size_t index, const Setting& setting) {
    return !setting.words.empty() ? context.choice(index, setting.words)
                                  : context.number(index, 0, kNoLimit);
}

/// Says which bound a refused time broke, with the port's other times as they are.
std::string timerRefusal(const Context& context, const platform::SwitchPortRecord& port,
                         const Setting& setting, u32 value) {
    std::string text = std::string(setting.name) + " " + std::to_string(value) +
                       " ms is not allowed: " + setting.help;
    const PortView view = queryPorts(context.client, {port}, kConfigParts).front();
    if (view.settings) {
        text += "; port " + std::string(port.name.data()) + " has join " +
                std::to_string(view.settings->joinTime) + " ms, leave " +
                std::to_string(view.settings->leaveTime) + " ms, leave-all " +
                std::to_string(view.settings->leaveAllTime) + " ms";
    }
    return text;
}

void setGlobal(const Context& context) {
    const Setting& setting = findSetting(globalSettings(), context.text(0));
    const u32 value = settingValue(context, 1, setting);
    context.finish(setNumber(context.client, Request::ScalarSet, 0, setting.attribute, value));
}

void setPort(const Context& context) {
    const Setting& setting = findSetting(portSettings(), context.text(1));
    const u32 value = settingValue(context, 2, setting);
    const platform::SwitchPortRecord port = context.port(0);
    const u32 status =
        setNumber(context.client, Request::PortSet, port.unit, setting.attribute, value);
    if (status == MVRP_ERR_RANGE) {
        context.finish(status, timerRefusal(context, port, setting, value));
    } else if (status == MVRP_ERR_NO_PORT) {
        context.finish(status, "MVRP is not switched on at port " + std::string(port.name.data()) +
                                   "; `set port " + port.name.data() + " enable on` comes first");
    } else {
        context.finish(status);
    }
}

void setDebug(const Context& context) {
    const std::optional<u32> mask = parseDebugMask(context.text(0));
    if (!mask) {
        const std::string& text = context.text(0);
        const std::string last = text.substr(text.rfind(',') + 1);
        throw UsageError("'" + text + "' is no list of debug categories" +
                         guess(last, kDebugCategories) + "; allowed are " +
                         listOf(kDebugCategories) +
                         ", several of them with commas, all, none, or a mask from 0 to 255");
    }
    context.finish(setNumber(context.client, Request::ScalarSet, 0, MVRP_SCALAR_DEBUG, *mask));
}

std::string globalDetails() {
    return "Settings:" + listed(globalSettings());
}

std::string portDetails() {
    return "Settings:" + listed(portSettings());
}

std::vector<Candidate> candidatesOf(std::span<const Setting> settings) {
    std::vector<Candidate> candidates;
    for (const Setting& setting : settings)
        candidates.push_back({setting.name, setting.help});
    return candidates;
}

/// The words of the setting that argument `index` names.
std::vector<Candidate> valuesOf(std::span<const Setting> settings, const Typed& typed,
                                std::size_t index) {
    std::vector<Candidate> candidates;
    const auto found = std::ranges::find(settings, typed.arguments[index], &Setting::name);
    if (found != settings.end())
        for (const MvrpWord& word : found->words)
            candidates.push_back({word.text});
    return candidates;
}

std::vector<Candidate> globalNames(const Typed& /*typed*/) {
    return candidatesOf(globalSettings());
}

std::vector<Candidate> globalValues(const Typed& typed) {
    return valuesOf(globalSettings(), typed, 0);
}

std::vector<Candidate> portNames(const Typed& /*typed*/) {
    return candidatesOf(portSettings());
}

std::vector<Candidate> portValues(const Typed& typed) {
    return valuesOf(portSettings(), typed, 1);
}

/// A list with commas grows by one category.
std::vector<Candidate> debugCategories(const Typed& typed) {
    const std::string before(typed.begun.substr(0, typed.begun.rfind(',') + 1));
    std::vector<Candidate> candidates;
    for (const Name& category : kDebugCategories)
        if (("," + before).find("," + std::string(category.text) + ",") == std::string::npos)
            candidates.push_back({before + category.text});
    if (before.empty()) {
        candidates.push_back({"all"});
        candidates.push_back({"none"});
    }
    return candidates;
}

constexpr Command kCommands[] = {
    {"set global",
     "settings of the switch",
     {{{"setting", "one of those below", false, false, globalNames},
       {"value", "its new value", false, false, globalValues}}},
     setGlobal,
     globalDetails},
    {"set port",
     "settings of one port",
     {{{"port", "name or unit of a port"},
       {"setting", "one of those below", false, false, portNames},
       {"value", "its new value", false, false, portValues}}},
     setPort,
     portDetails},
    {"set debug",
     "which trace lines the daemon writes",
     {{{"categories",
        "receive, transmit, packet, database, state, timer and start, with commas between; all; "
        "none; or a mask",
        false, false, debugCategories}}},
     setDebug},
};

}  // namespace

constinit const std::span<const Command> kSetCommands = kCommands;

}  // namespace cli
