// SPDX-License-Identifier: MIT
//
// A check that runs before the TOML parser: outside of strings and comments TOML is ASCII, but the
// parser's version 3.3 reaches undefined behaviour over some other characters there.
#pragma once

#include <optional>
#include <string_view>

#include "platform/config/config_tree.h"

namespace platform {

/// The first byte above ASCII that stands outside of strings and comments; nothing when there is
/// none. A byte order mark at the start is allowed.
std::optional<ConfigProblem> findForeignCharacter(std::string_view document);

}  // namespace platform
