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
#include "platform/contract/types.h"

namespace platform {

/// Values of the enabling settings.
inline constexpr u32 kSettingOn = 1;
inline constexpr u32 kSettingOff = 2;

// Attributes of the daemon's handlers.
inline constexpr u32 kScalarEnable = 1;
inline constexpr u32 kScalarCompliance = 3;
inline constexpr u32 kScalarSyncPacket = 4;
inline constexpr u32 kPortEnable = 1;

/// A port attribute and the setting that it is.
struct PortSetting {
    u32 attribute;
    std::optional<u32> PortManagement::*field;
    const char* name;  ///< in the configuration file
};

/// All settings of a port but its enabling.
inline constexpr std::array kPortSettings = {
    PortSetting{2, &PortManagement::registration, "registration"},
    PortSetting{3, &PortManagement::participant, "participant"},
    PortSetting{4, &PortManagement::periodicTime, "periodic-time"},
    PortSetting{5, &PortManagement::joinTime, "join-time"},
    PortSetting{6, &PortManagement::leaveTime, "leave-time"},
    PortSetting{7, &PortManagement::leaveAllTime, "leave-all-time"},
};

/// One command, taken apart. `unit` is 0 for a scalar.
struct ManagementCommand {
    bool ofPort = false;
    u32 unit = 0;
    u32 attribute = 0;
    u32 value = 0;

    bool operator==(const ManagementCommand&) const = default;

    bool disablesAll() const { return !ofPort && attribute == kScalarEnable && !on(); }
    bool disablesPort() const { return ofPort && attribute == kPortEnable && !on(); }
    bool on() const { return value == kSettingOn; }
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
