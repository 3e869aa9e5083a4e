// SPDX-License-Identifier: MIT
//
// What runs on a Linux bridge, as rules of the configuration file: ports are named there, and what
// differs from the rule that holds for a port becomes a rule for that port alone.
#pragma once

#include <string>
#include <vector>

#include "cli/config/running_config.h"

namespace cli {

/// For each port that runs otherwise than its rule of the file says, in the order of the ports, a
/// rule with its name: as the one that held, but for what runs.
std::vector<platform::LinuxPortRule> changedRules(const platform::LinuxBridgeConfig& file,
                                                  const RunningConfig& running);

/// A rule as TOML.
std::string formatRule(const platform::LinuxPortRule& rule);

/// The text of a configuration file of a Linux bridge, changed to what runs. The rule for a port
/// that has one of its own is replaced; a new one comes before all others, so that it holds. All
/// else stays, comments too.
/// @param file  what `document` says
std::string runningDocument(const std::string& document, const platform::HostConfig& file,
                            const RunningConfig& running);

}  // namespace cli
