// SPDX-License-Identifier: MIT
#include "platform/model/nearest_word.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace platform {
namespace {

/// Edit distance: single characters inserted, deleted or replaced.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t column = 0; column < row.size(); column++)
        row[column] = column;
    for (std::size_t line = 1; line <= a.size(); line++) {
        std::size_t diagonal = std::exchange(row[0], line);
        for (std::size_t column = 1; column < row.size(); column++) {
            const std::size_t replaced = diagonal + (a[line - 1] == b[column - 1] ? 0 : 1);
            diagonal = row[column];
            row[column] = std::min({replaced, row[column] + 1, row[column - 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string_view nearestWord(std::string_view word, std::span<const std::string_view> words) {
    std::string_view best;
    std::size_t least = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string_view candidate : words)
        if (const auto apart = distance(word, candidate); apart < least) {
            best = candidate;
            least = apart;
        }
    return best;
}

}  // namespace platform
