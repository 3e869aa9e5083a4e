// SPDX-License-Identifier: MIT
#include "cli/shell/split.h"

namespace cli {

namespace {

constexpr std::string_view kProgram = "mvrpctl";

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

SplitLine splitLine(std::string_view line) {
    SplitLine split;
    char quote = '\0';
    for (const char c : line) {
        if (quote == '\0' && isBlank(c)) {
            split.openWord = false;
            continue;
        }
        if (quote == '\0' && c == '#' && !split.openWord)
            break;
        if (!split.openWord)
            split.words.emplace_back();
        split.openWord = true;
        if (c == quote)
            quote = '\0';
        else if (quote == '\0' && (c == '\'' || c == '"'))
            quote = c;
        else
            split.words.back() += c;
    }
    split.openQuote = quote != '\0';
    const bool isNamed = !split.words.empty() && split.words.front() == kProgram;
    if (isNamed && (split.words.size() > 1 || !split.openWord))
        split.words.erase(split.words.begin());
    return split;
}

}  // namespace cli
