// SPDX-License-Identifier: MIT
//
// Loads a configuration, of a file and its fragments: as a whole, or not at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/config/fragments/config_documents.h"
#include "platform/config/host_config.h"

namespace platform {

struct LoadedConfig {
    std::optional<HostConfig> config;     ///< absent when there is any problem
    std::vector<ConfigProblem> problems;  ///< in the order of the files
};

/// With the fragments beside it.
LoadedConfig loadConfig(const std::string& path);
LoadedConfig parseConfig(ConfigDocuments documents);
LoadedConfig parseConfig(std::string_view document);

/// "FILE:LINE:COLUMN: what is wrong", without line and column for the file as a whole.
/// @param path  of the main file
std::string formatProblem(const std::string& path, const ConfigProblem& problem);

}  // namespace platform
