// SPDX-License-Identifier: MIT
//
// Fuzz targets: each takes any bytes and must come back, without a finding of a sanitizer and with
// what it checks itself. A binary holds one table of them.
#pragma once

#include <span>
#include <string_view>

#include "platform/contract/types.h"

namespace fuzz {

struct Target {
    std::string_view name;
    void (*run)(std::span<const u8> input);
};

/// The targets of this binary.
std::span<const Target> targets();

/// Ends the process with a message, as a sanitizer would.
[[noreturn]] void fail(std::string_view problem);

}  // namespace fuzz
