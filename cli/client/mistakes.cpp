// SPDX-License-Identifier: MIT
#include "cli/client/mistakes.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "platform/model/nearest_word.h"

namespace cli {

namespace {

std::string guessAmong(const std::string& word, std::span<const std::string_view> known) {
    // Numbers are all alike, and so are words of two letters.
    constexpr std::size_t kShortest = 3;
    if (word.size() < kShortest || word.find_first_not_of("0123456789") == std::string::npos)
        return "";
    std::vector<std::string_view> begun;
    std::ranges::copy_if(known, std::back_inserter(begun),
                         [&word](std::string_view other) { return other.starts_with(word); });
    const std::string_view like =
        begun.size() == 1 ? begun.front() : platform::nearestWord(word, known);
    return like.empty() ? "" : " (did you mean " + std::string(like) + "?)";
}

}  // namespace

std::string listed(std::span<const std::string> words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

std::string listedOr(std::span<const std::string> words) {
    if (words.size() < 2)
        return listed(words);
    return listed(words.first(words.size() - 1)) + " or " + words.back();
}

std::string guess(const std::string& word, std::span<const std::string> known) {
    return guessAmong(word, std::vector<std::string_view>(known.begin(), known.end()));
}

std::string guess(const std::string& word, Names known) {
    std::vector<std::string_view> words;
    for (const Name& name : known)
        words.emplace_back(name.text);
    return guessAmong(word, words);
}

std::string unknownText(const std::string& word, std::span<const std::string> known) {
    return "'" + word + "' is not known here" + guess(word, known) +
           (known.empty() ? "" : "; allowed are " + listed(known));
}

}  // namespace cli
