// SPDX-License-Identifier: MIT
#include "platform/config/management_commands.h"

namespace platform {
namespace {

/// Attributes that a command number has room for.
constexpr u32 kMostAttributes = 0x1000;

void addSettings(std::vector<ManagementCommand>& commands, u32 unit, const PortManagement& port) {
    if (port.enable)
        commands.push_back({true, unit, MVRP_PORT_ENABLE, *port.enable});
    if (port.enable != MVRP_ON)
        return;
    for (std::size_t i = 0; i < kMvrpPortSettings.size(); i++)
        if (const auto& value = port.*kPortSettingFields[i])
            commands.push_back({true, unit, kMvrpPortSettings[i].attribute, *value});
}

void applyPortCommand(PortManagement& port, const ManagementCommand& command) {
    if (command.disablesPort())
        port = PortManagement{};
    if (command.attribute == MVRP_PORT_ENABLE) {
        port.enable = command.on() ? MVRP_ON : MVRP_OFF;
        return;
    }
    for (std::size_t i = 0; i < kMvrpPortSettings.size(); i++)
        if (kMvrpPortSettings[i].attribute == command.attribute)
            port.*kPortSettingFields[i] = command.value;
}

}  // namespace

std::optional<ManagementCommand> parseCommand(u32 unit, u32 command, u32 value) {
    if (command >= kMvrpPortCommandBase && command - kMvrpPortCommandBase < kMostAttributes)
        return ManagementCommand{true, unit, command - kMvrpPortCommandBase, value};
    if (command >= kMvrpScalarCommandBase && command - kMvrpScalarCommandBase < kMostAttributes)
        return ManagementCommand{false, 0, command - kMvrpScalarCommandBase, value};
    return std::nullopt;
}

u32 commandNumber(const ManagementCommand& command) {
    return command.attribute + (command.ofPort ? kMvrpPortCommandBase : kMvrpScalarCommandBase);
}

void applyCommand(ManagementConfig& settings, const ManagementCommand& command) {
    if (command.ofPort)
        return applyPortCommand(settings.ports[command.unit], command);
    const u32 state = command.on() ? MVRP_ON : MVRP_OFF;
    if (command.disablesAll())
        settings = ManagementConfig{};
    if (command.attribute == MVRP_SCALAR_ENABLE)
        settings.enable = state;
    else if (command.attribute == MVRP_SCALAR_GVRP_COMPLIANCE)
        settings.compliance = state;
}

std::vector<ManagementCommand> commandsOf(const ManagementConfig& settings) {
    std::vector<ManagementCommand> commands;
    if (settings.enable)
        commands.push_back({false, 0, MVRP_SCALAR_ENABLE, *settings.enable});
    if (settings.enable != MVRP_ON)
        return commands;
    if (settings.compliance)
        commands.push_back({false, 0, MVRP_SCALAR_GVRP_COMPLIANCE, *settings.compliance});
    for (const auto& [unit, port] : settings.ports)
        addSettings(commands, unit, port);
    return commands;
}

}  // namespace platform
