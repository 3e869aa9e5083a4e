// SPDX-License-Identifier: MIT
#include <algorithm>

#include "cli/client/statuses.h"
#include "cli/commands/commands.h"

namespace cli {

namespace {

using platform::Request;

/// One setting of the switch or of a port: a word of `names`, or a number up to `highest`.
struct Setting {
    const char* name;
    u32 attribute;
    const Names* names;  ///< null: a number of milliseconds
    const char* help;
};

constexpr u32 kNoLimit = 0xFFFFFFFF;

constexpr Setting kGlobalSettings[] = {
    {"enable", static_cast<u32>(Scalar::Enable), &kOnOff, "on|off: the protocol on this switch"},
    {"compliance", static_cast<u32>(Scalar::Compliance), &kOnOff, "on|off: speak GVRP"},
};

constexpr Setting kPortSettings[] = {
    {"enable", static_cast<u32>(PortAttribute::Enable), &kOnOff, "on|off: MVRP on this port"},
    {"registration", static_cast<u32>(PortAttribute::Registration), &kRegistrationModes,
     "normal|fixed|forbidden: which VLANs it registers"},
    {"participant", static_cast<u32>(PortAttribute::Participant), &kParticipantModes,
     "full|no-observe|quiet: how it declares"},
    {"join-time", static_cast<u32>(PortAttribute::JoinTime), nullptr,
     "200 to 6000 ms, at most half of the leave time"},
    {"leave-time", static_cast<u32>(PortAttribute::LeaveTime), nullptr,
     "450 to 30000 ms, at least twice the join time, at most the leave-all time"},
    {"leave-all-time", static_cast<u32>(PortAttribute::LeaveAllTime), nullptr,
     "650 to 327650 ms, at least the leave time"},
    {"periodic-time", static_cast<u32>(PortAttribute::PeriodicTime), nullptr,
     "ms between repetitions; 0 switches them off"},
};

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

const Setting& findSetting(std::span<const Setting> settings, const std::string& name) {
    const auto found = std::ranges::find(settings, name, &Setting::name);
    if (found != settings.end())
        return *found;
    throw UsageError("there is no setting '" + name + "'; allowed are:" + listed(settings));
}

u32 settingValue(const Context& context, std::size_t index, const Setting& setting) {
    return setting.names != nullptr ? context.choice(index, *setting.names)
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
    const Setting& setting = findSetting(kGlobalSettings, context.text(0));
    const u32 value = settingValue(context, 1, setting);
    context.finish(setNumber(context.client, Request::ScalarSet, 0, setting.attribute, value));
}

void setPort(const Context& context) {
    const Setting& setting = findSetting(kPortSettings, context.text(1));
    const u32 value = settingValue(context, 2, setting);
    const platform::SwitchPortRecord port = context.port(0);
    const u32 status =
        setNumber(context.client, Request::PortSet, port.unit, setting.attribute, value);
    if (status == static_cast<u32>(Status::TimerRange)) {
        context.finish(status, timerRefusal(context, port, setting, value));
    } else if (status == static_cast<u32>(Status::NoPort)) {
        context.finish(status, "MVRP is not switched on at port " + std::string(port.name.data()) +
                                   "; `set port " + port.name.data() + " enable on` comes first");
    } else {
        context.finish(status);
    }
}

void setDebug(const Context& context) {
    const std::optional<u32> mask = parseDebugMask(context.text(0));
    if (!mask) {
        throw UsageError("'" + context.text(0) + "' is no list of debug categories; allowed are " +
                         listOf(kDebugCategories) +
                         ", several of them with commas, all, none, or a mask from 0 to 255");
    }
    context.finish(
        setNumber(context.client, Request::ScalarSet, 0, static_cast<u32>(Scalar::Debug), *mask));
}

std::string globalDetails() {
    return "Settings:" + listed(kGlobalSettings);
}

std::string portDetails() {
    return "Settings:" + listed(kPortSettings);
}

std::string namesOf(std::span<const Setting> settings) {
    std::string names;
    for (const Setting& setting : settings)
        names += std::string(names.empty() ? "" : " ") + setting.name;
    return names;
}

std::string globalNames() {
    return namesOf(kGlobalSettings);
}

std::string portNames() {
    return namesOf(kPortSettings);
}

constexpr Command kCommands[] = {
    {"set global",
     "settings of the switch",
     {{{"setting", "one of those below", false, false, globalNames}, {"value", "its new value"}}},
     setGlobal,
     globalDetails},
    {"set port",
     "settings of one port",
     {{{"port", "name or unit of a port"},
       {"setting", "one of those below", false, false, portNames},
       {"value", "its new value"}}},
     setPort,
     portDetails},
    {"set debug",
     "which trace lines the daemon writes",
     {{{"categories",
        "receive, transmit, packet, database, state, timer and start, with commas between; all; "
        "none; or a mask"}}},
     setDebug},
};

}  // namespace

constinit const std::span<const Command> kSetCommands = kCommands;

}  // namespace cli
