// SPDX-License-Identifier: MIT
//
// Numbers and corrections as people write them into a scenario or an option, and the error of a
// word that is not understood.
#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/contract/corrections.h"
#include "platform/contract/types.h"

namespace scenario {

/// A word that can not be understood; its text says what was found and what is allowed.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A decimal or 0x-hexadecimal number of at most 64 bits; none when `word` is not one.
std::optional<u64> numberOf(std::string_view word);

/// The corrections of `all`, of `none`, or of names. Throws UsageError.
CorrectionSet correctionsOf(std::span<const std::string> words);
/// The same in one word, names separated by commas.
CorrectionSet correctionsOf(std::string_view list);

}  // namespace scenario
