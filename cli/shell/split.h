// SPDX-License-Identifier: MIT
//
// A line that somebody typed, or wrote into a file, as words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

struct SplitLine {
    std::vector<std::string> words;
    bool openQuote = false;  ///< a quotation mark has no second one
    bool openWord = false;   ///< the last word goes on where the line ends
};

/// Words stand between blanks; '...' and "..." keep blanks, a # at the beginning of a word begins a
/// comment. A leading "mvrpctl", as in the guides, does not count.
SplitLine splitLine(std::string_view line);

}  // namespace cli
