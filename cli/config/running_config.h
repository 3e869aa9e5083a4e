// SPDX-License-Identifier: MIT
//
// What runs, in the terms of the configuration file: compared with a file, and written as one.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "cli/client/queries.h"
#include "cli/print/table.h"
#include "platform/config/load.h"
#include "platform/contract/management.h"

namespace cli {

struct RunningConfig {
    GlobalView global{};
    VlansView vlans{};
};

/// A setting of a port: in the file, and where it runs.
struct PortSetting {
    MvrpSetting what;
    std::optional<u32> platform::PortManagement::*file;
    u32 PortSettings::*running;
};

inline constexpr std::array kPortSettings = {
    PortSetting{kMvrpRegistration, &platform::PortManagement::registration,
                &PortSettings::registration},
    PortSetting{kMvrpParticipant, &platform::PortManagement::participant,
                &PortSettings::participant},
    // From the longest to the shortest: each is checked against the next longer one.
    PortSetting{kMvrpLeaveAllTime, &platform::PortManagement::leaveAllTime,
                &PortSettings::leaveAllTime},
    PortSetting{kMvrpLeaveTime, &platform::PortManagement::leaveTime, &PortSettings::leaveTime},
    PortSetting{kMvrpJoinTime, &platform::PortManagement::joinTime, &PortSettings::joinTime},
    PortSetting{kMvrpPeriodicTime, &platform::PortManagement::periodicTime,
                &PortSettings::periodicTime},
};

struct ConfigDifference {
    std::string port;     ///< name; empty: of the switch as a whole
    std::string setting;  ///< as the file writes it: "join-time"
    std::string file;     ///< what the file says, or what holds when it says nothing
    std::string running;
    bool ofSwitch = false;  ///< belongs to [[port]] or [[vlan]], not to [management]
};

/// What runs and is not what the file asks for. What the file leaves out counts with its default.
std::vector<ConfigDifference> compareConfig(const platform::HostConfig& file,
                                            const RunningConfig& running);

/// [mvrp] of what runs, as far as it can be asked; empty where that is nothing.
std::string formatOptions(const RunningConfig& running);
/// [management] of what runs, and with the software switch its [[port]] and [[vlan]], as TOML.
/// @param file  gives what can not be asked of the daemon: captures of ports
std::string formatManagement(const RunningConfig& running);
std::string formatSwitch(const RunningConfig& running, const platform::HostConfig* file);

/// The text of a configuration file in which these top tables ("management", "port") are replaced
/// by `text`; everything else, comments too, stays as it is.
std::string replaceTables(const std::string& document, const std::vector<std::string>& tables,
                          const std::string& text);

std::string differencesText(const std::vector<ConfigDifference>& differences, const Style& style);
std::string differencesJson(const std::string& file,
                            const std::vector<ConfigDifference>& differences);

}  // namespace cli
