// SPDX-License-Identifier: MIT
#include "platform/virtual/state/words.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace scenario {
namespace {

/// The one that a word names.
Correction correctionNamed(std::string_view word) {
    if (const auto which = correctionOfName(word))
        return *which;
    std::string allowed;
    for (const auto name : kCorrectionNames)
        allowed += (allowed.empty() ? "" : ", ") + std::string(name);
    throw UsageError("'" + std::string(word) + "' is not a correction; allowed: all, none, " +
                     allowed);
}

}  // namespace

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

CorrectionSet correctionsOf(std::span<const std::string> words) {
    CorrectionSet set;
    if (words.size() == 1 && words[0] == "all")
        return CorrectionSet::all();
    if (words.size() == 1 && words[0] == "none")
        return set;
    for (const auto& word : words)
        set.add(correctionNamed(word));
    return set;
}

CorrectionSet correctionsOf(std::string_view list) {
    std::vector<std::string> words;
    for (std::size_t start = 0; start <= list.size();) {
        const auto comma = std::min(list.find(',', start), list.size());
        words.emplace_back(list.substr(start, comma - start));
        start = comma + 1;
    }
    return correctionsOf(words);
}

}  // namespace scenario
