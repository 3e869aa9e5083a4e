// SPDX-License-Identifier: MIT
//
// What a configuration file sets, by name: so that a file can be compared with the one before, not
// by what it says but by what it speaks of.
#pragma once

#include <string>
#include <vector>

#include "platform/config/config_tree.h"

namespace platform {

/// The tables and settings of a file in its order: "[switch]", "[switch] name", "[[port]] 3",
/// "[[port]] 3 pvid". A table of an array is named by its unit, name or ids, so its name stays the
/// same when others come and go.
std::vector<std::string> settingNames(const ConfigValue& tree);

}  // namespace platform
