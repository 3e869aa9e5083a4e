// SPDX-License-Identifier: MIT
//
// What a port may be called.
#pragma once

#include <string_view>

namespace platform {

/// Whether a name is a number: commands take names and units alike, so it would hide a unit.
constexpr bool isNumber(std::string_view name) {
    return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

inline constexpr const char* kPortNameAllowed = "a name that is not a number, which is a unit";

}  // namespace platform
