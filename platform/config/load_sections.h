// SPDX-License-Identifier: MIT
//
// The sections of a configuration file. Each reads its tables off the top-level table, fills in its
// part of the record, and notes what is wrong with the reader.
#pragma once

#include "platform/config/config_reader.h"
#include "platform/config/host_config.h"

namespace platform {

void loadSwitch(ConfigReader& top, SwitchConfig& network);
/// The ports of the software switch, and of the Linux driver. Need the driver.
void loadPorts(ConfigReader& top, HostConfig& config);
void loadLinuxPorts(ConfigReader& top, HostConfig& config);
/// wire-format of a port.
WireForm loadWireForm(ConfigReader& table, WireForm fallback);
/// The settings of [switch] that only the Linux driver has.
void loadLinuxSwitch(ConfigReader& table, LinuxBridgeConfig& bridge);
void loadVlans(ConfigReader& top, SwitchConfig& network);

/// Needs the driver.
void loadOptions(ConfigReader& top, HostConfig& config);
/// [mvrp] corrections. @return nothing when it is absent or wrong
std::optional<CorrectionSet> loadCorrections(ConfigReader& table);
/// Needs the driver and the ports of the switch.
void loadManagement(ConfigReader& top, HostConfig& config);
/// The settings of a port; `enableKey` is the one that switches the protocol on, and `rest` is what
/// holds where the table says nothing.
PortManagement loadPortManagement(ConfigReader& table, std::string_view enableKey,
                                  const PortManagement& rest);
/// max-vlans and max-pdus of a port; they stay as they are where the table says nothing.
/// @param corrections  that are on: without admission nobody asks for max-vlans
void loadPortLimits(ConfigReader& table, CorrectionSet corrections, u32& maxVlans, u32& maxPdus);
/// Needs the driver.
void loadServices(ConfigReader& top, HostConfig& config);
/// [metrics] listen; `listen` stays empty where there is none.
void loadMetrics(ConfigReader& top, std::string& listen);
void loadProcess(ConfigReader& top, ProcessConfig& process);

}  // namespace platform
