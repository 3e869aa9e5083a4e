// SPDX-License-Identifier: MIT
//
// Management settings as the commands that the daemon synchronises, and back: what the
// configuration store keeps, and what a standby is told when it connects.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "platform/config/host_config.h"
#include "platform/contract/management.h"

namespace platform {

/// Where a file's settings keep each of kMvrpPortSettings.
inline constexpr std::array<std::optional<u32> PortManagement::*, kMvrpPortSettings.size()>
    kPortSettingFields = {
        &PortManagement::registration, &PortManagement::participant, &PortManagement::periodicTime,
        &PortManagement::joinTime,     &PortManagement::leaveTime,   &PortManagement::leaveAllTime,
};

/// One command, taken apart. `unit` is 0 for a scalar.
struct ManagementCommand {
    bool ofPort = false;
    u32 unit = 0;
    u32 attribute = 0;
    u32 value = 0;

    bool operator==(const ManagementCommand&) const = default;

    bool disablesAll() const { return !ofPort && attribute == MVRP_SCALAR_ENABLE && !on(); }
    bool disablesPort() const { return ofPort && attribute == MVRP_PORT_ENABLE && !on(); }
    bool on() const { return value == MVRP_ON; }
    bool sameSetting(const ManagementCommand& other) const {
        return ofPort == other.ofPort && unit == other.unit && attribute == other.attribute;
    }
};

/// Takes a command number of qorHwilCmdSyncApi() apart. @return nothing for a number that is none
/// of the daemon's
std::optional<ManagementCommand> parseCommand(u32 unit, u32 command, u32 value);
u32 commandNumber(const ManagementCommand& command);

/// Changes `settings` as the daemon changes itself on this command: one that is disabled forgets
/// what was set, as does a port.
void applyCommand(ManagementConfig& settings, const ManagementCommand& command);

/// The commands that lead from nothing to `settings`, in an order in which the daemon takes them:
/// times that fit together may need to be sent again, as applyManagement() does.
std::vector<ManagementCommand> commandsOf(const ManagementConfig& settings);

}  // namespace platform
