// SPDX-License-Identifier: MIT
//
// What is said of a word that is not allowed: what was meant, perhaps, and what is allowed.
#pragma once

#include <span>
#include <string>

#include "cli/client/names.h"

namespace cli {

/// "a, b, c".
std::string listed(std::span<const std::string> words);
/// "a, b or c".
std::string listedOr(std::span<const std::string> words);

/// " (did you mean show?)", or nothing when none of the words is like it.
std::string guess(const std::string& word, std::span<const std::string> known);
std::string guess(const std::string& word, Names known);

/// "'shwo' is not known here (did you mean show?); allowed are show, set".
std::string unknownText(const std::string& word, std::span<const std::string> known);

}  // namespace cli
