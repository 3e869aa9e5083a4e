// SPDX-License-Identifier: MIT
//
// Loads a configuration file: as a whole, or not at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/config/config_tree.h"
#include "platform/config/host_config.h"

namespace platform {

/// Largest file accepted, bytes.
inline constexpr std::size_t kMaxConfigBytes = 1U << 20;

struct LoadedConfig {
    std::optional<HostConfig> config;     ///< absent when there is any problem
    std::vector<ConfigProblem> problems;  ///< in the order of the file
};

LoadedConfig loadConfig(const std::string& path);
LoadedConfig parseConfig(std::string_view document);

/// "FILE:LINE:COLUMN: what is wrong", without line and column for the file as a whole.
std::string formatProblem(const std::string& path, const ConfigProblem& problem);

}  // namespace platform
