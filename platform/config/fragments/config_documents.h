// SPDX-License-Identifier: MIT
//
// The files that a configuration is made of: a main file, and fragments in the directory `conf.d`
// beside it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/config/config_problem.h"
#include "platform/config/config_tree.h"

namespace platform {

/// Most bytes of all files of a configuration.
inline constexpr std::size_t kMaxConfigBytes = 1U << 20;
inline constexpr std::size_t kMaxFragments = 256;
inline constexpr const char* kFragmentDirectory = "conf.d";
inline constexpr const char* kFragmentEnd = ".toml";

/// A file that was read.
struct ConfigDocument {
    std::string path;
    std::string text;
};

struct ConfigDocuments {
    std::vector<ConfigDocument> files;    ///< the main file, then the fragments in byte order
    std::vector<ConfigProblem> problems;  ///< those that could not be read
};

/// The directory of the fragments of a main file.
std::string fragmentDirectory(const std::string& path);
/// The name of a fragment, from its path.
std::string fragmentName(const std::string& path);

/// Reads a main file and its fragments: the files of the directory whose names end with ".toml" and
/// do not begin with a dot. Waits for nothing, whatever is there.
ConfigDocuments readConfigDocuments(const std::string& path);
/// The same with the fragments of another directory. @param directory  need not exist
ConfigDocuments readConfigDocuments(const std::string& path, const std::string& directory);

/// One tree of several. Tables become one with the settings of all; arrays of tables are appended;
/// what is set in two files is noted as a problem that names both.
/// @param trees  of `files`, in their order, each place with the index of its file
/// @pre          there is one at least
ConfigValue mergeConfigTrees(std::vector<ConfigValue> trees, std::span<const ConfigDocument> files,
                             std::vector<ConfigProblem>& problems);

}  // namespace platform
