// SPDX-License-Identifier: MIT
//
// A configuration file as a tree of values, each with its place in the file. What the file's syntax
// offers beyond that (dates, fractions) is kept as ConfigKind::Other, which no setting takes.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/config/config_problem.h"

namespace platform {

enum class ConfigKind { Boolean, Integer, Text, Table, Array, Other };

struct ConfigEntry;

struct ConfigValue {
    ConfigKind kind = ConfigKind::Table;
    ConfigPlace place;
    bool boolean = false;
    std::int64_t integer = 0;
    std::string text;                  ///< of Other: as the file writes it, as far as known
    std::vector<ConfigEntry> entries;  ///< of a Table, ordered by place
    std::vector<ConfigValue> items;    ///< of an Array
};

struct ConfigEntry {
    std::string key;
    ConfigPlace place;
    ConfigValue value;
};

/// Reads the syntax. @return the tree, or nothing with `problem` filled in
/// @param file  index of the file that each place is given
std::optional<ConfigValue> parseConfigTree(std::string_view document, ConfigProblem& problem,
                                           u32 file = 0);

}  // namespace platform
