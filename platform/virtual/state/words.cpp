// SPDX-License-Identifier: MIT
#include "platform/virtual/state/words.h"

#include <charconv>

namespace scenario {

std::optional<u64> numberOf(std::string_view word) {
    int base = 10;
    if (word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X')) {
        base = 16;
        word.remove_prefix(2);
    }
    u64 value = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value, base);
    if (result.ec != std::errc{} || result.ptr != word.data() + word.size())
        return std::nullopt;
    return value;
}

}  // namespace scenario
