// SPDX-License-Identifier: MIT
//
// What is different between two configurations, for people.
#pragma once

#include <string>
#include <vector>

#include "platform/config/host_config.h"

namespace platform {

/// A line for each difference that can be applied while the daemon runs, in the words of the file:
/// "[[port]] 3 (east) pvid: 1 -> 12".
std::vector<std::string> configChanges(const HostConfig& before, const HostConfig& next);

/// A line for each section that is different and that only a new start can take over.
std::vector<std::string> fixedChanges(const HostConfig& before, const HostConfig& next);

}  // namespace platform
