// SPDX-License-Identifier: MIT
//
// The debug shell: the daemon's exported debug entry points, called by name.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

struct ShellResult {
    u32 value;         ///< what the function returned
    std::string text;  ///< what it printed
};

/// Calls the function `name`. It runs with every lock of the daemon held, since the functions take
/// none themselves; what it prints goes to the console too.
/// @param limit  most bytes of text kept
/// @return nothing when procShellInit() was not called, there is no such function, or it is one
///         that the debug socket's own server calls
std::optional<ShellResult> shellCall(std::string_view name, const std::array<u32, 3>& parameters,
                                     std::size_t limit);

/// The names that shellCall() knows, each followed by its parameter count and a line end.
std::string shellNames();

}  // namespace platform
