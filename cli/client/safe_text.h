// SPDX-License-Identifier: MIT
//
// Text that others chose: names of interfaces, answers of a daemon that may be anybody's. What a
// terminal would obey, or a metric could not carry, becomes '?'.
#pragma once

#include <array>
#include <string>

#include "cli/client/client.h"

namespace cli {

/// Control characters and bytes that are no UTF-8 become '?'.
/// @param lines  keep line ends and tabulators
std::string safeText(std::string text, bool lines = false);

/// The text of an answer; of several lines where it has them.
std::string textOf(const Reply& reply);

/// The same in place, and ends the text within its room.
template <std::size_t size>
void makeSafe(std::array<char, size>& field) {
    field.back() = '\0';
    const std::string safe = safeText(field.data());
    safe.copy(field.data(), safe.size());
}

}  // namespace cli
