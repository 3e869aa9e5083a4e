// SPDX-License-Identifier: MIT
#include "platform/config/management_commands.h"

#include <algorithm>

namespace platform {
namespace {

// Command numbers of the platform: a scalar's or port's attribute id plus one of these.
constexpr u32 kScalarCommandBase = 0x000FC000;
constexpr u32 kPortCommandBase = 0x040A8000;
constexpr u32 kMostAttributes = 0x1000;

void addSettings(std::vector<ManagementCommand>& commands, u32 unit, const PortManagement& port) {
    if (port.enable)
        commands.push_back({true, unit, kPortEnable, *port.enable});
    if (port.enable != kSettingOn)
        return;
    for (const PortSetting& setting : kPortSettings)
        if (const auto& value = port.*setting.field)
            commands.push_back({true, unit, setting.attribute, *value});
}

void applyPortCommand(PortManagement& port, const ManagementCommand& command) {
    if (command.disablesPort())
        port = PortManagement{};
    if (command.attribute == kPortEnable) {
        port.enable = command.on() ? kSettingOn : kSettingOff;
        return;
    }
    const auto* setting =
        std::ranges::find(kPortSettings, command.attribute, &PortSetting::attribute);
    if (setting != kPortSettings.end())
        port.*setting->field = command.value;
}

}  // namespace

std::optional<ManagementCommand> parseCommand(u32 unit, u32 command, u32 value) {
    if (command >= kPortCommandBase && command - kPortCommandBase < kMostAttributes)
        return ManagementCommand{true, unit, command - kPortCommandBase, value};
    if (command >= kScalarCommandBase && command - kScalarCommandBase < kMostAttributes)
        return ManagementCommand{false, 0, command - kScalarCommandBase, value};
    return std::nullopt;
}

u32 commandNumber(const ManagementCommand& command) {
    return command.attribute + (command.ofPort ? kPortCommandBase : kScalarCommandBase);
}

void applyCommand(ManagementConfig& settings, const ManagementCommand& command) {
    if (command.ofPort)
        return applyPortCommand(settings.ports[command.unit], command);
    const u32 state = command.on() ? kSettingOn : kSettingOff;
    if (command.disablesAll())
        settings = ManagementConfig{};
    if (command.attribute == kScalarEnable)
        settings.enable = state;
    else if (command.attribute == kScalarCompliance)
        settings.compliance = state;
}

std::vector<ManagementCommand> commandsOf(const ManagementConfig& settings) {
    std::vector<ManagementCommand> commands;
    if (settings.enable)
        commands.push_back({false, 0, kScalarEnable, *settings.enable});
    if (settings.enable != kSettingOn)
        return commands;
    if (settings.compliance)
        commands.push_back({false, 0, kScalarCompliance, *settings.compliance});
    for (const auto& [unit, port] : settings.ports)
        addSettings(commands, unit, port);
    return commands;
}

}  // namespace platform
