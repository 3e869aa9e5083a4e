// SPDX-License-Identifier: MIT
//
// Which word somebody may have meant, for answers to people.
#pragma once

#include <span>
#include <string_view>

namespace platform {

/// @return the word most like `word`, or nothing when none is like it
std::string_view nearestWord(std::string_view word, std::span<const std::string_view> words);

}  // namespace platform
