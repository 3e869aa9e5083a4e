// SPDX-License-Identifier: MIT
//
// The sections of a configuration file. Each reads its tables off the top-level table, fills in its
// part of the record, and notes what is wrong with the reader.
#pragma once

#include "platform/config/config_reader.h"
#include "platform/config/host_config.h"

namespace platform {

void loadSwitch(ConfigReader& top, SwitchConfig& network);
void loadPorts(ConfigReader& top, SwitchConfig& network);
void loadVlans(ConfigReader& top, SwitchConfig& network);

void loadOptions(ConfigReader& top, HostConfig& config);
/// Needs the ports of the switch.
void loadManagement(ConfigReader& top, HostConfig& config);
void loadServices(ConfigReader& top, HostConfig& config);
void loadProcess(ConfigReader& top, ProcessConfig& process);

}  // namespace platform
