// SPDX-License-Identifier: MIT
#include "network/read/lifted_lists.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace network {

namespace {

constexpr char kMark = '@';
constexpr std::string_view kKeys = "vlans";
/// Shorter ones cost a parser little.
constexpr std::size_t kLongEnough = 64;
/// Of a document; further ones are left to the parser.
constexpr std::size_t kMostLists = 64;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Where the string ends that begins at `from`: at its closing quote, or the end of the text.
std::size_t endOfString(std::string_view text, std::size_t from) {
    for (std::size_t end = text.find('"', from);; end = text.find('"', end + 1)) {
        if (end == std::string_view::npos)
            return text.size();
        std::size_t backslashes = 0;
        while (end - backslashes > from && text[end - backslashes - 1] == '\\')
            ++backslashes;
        if (backslashes % 2 == 0)
            return end;
    }
}

}  // namespace

LiftedLists::LiftedLists(std::string_view text) {
    lift(text);
    known_.clear();  // the text may not outlive this
}

void LiftedLists::lift(std::string_view text) {
    std::size_t copied = 0;
    bool isOfKey = false;
    for (std::size_t quote = text.find('"'); quote < text.size();) {
        const std::size_t first = quote + 1;
        const std::size_t end = endOfString(text, first);
        const std::string_view string = text.substr(first, end - first);
        if (string.starts_with(kMark)) {
            text_ = text;
            lists_.clear();
            return;
        }
        if (isOfKey && string.size() >= kLongEnough && end < text.size() && take(string)) {
            text_.append(text, copied, first - copied);
            text_ += kMark;
            text_ += std::to_string(std::ranges::find(known_, string) - known_.begin());
            copied = end;
        }
        isOfKey = string.starts_with(kKeys);
        quote = end >= text.size() ? end : text.find('"', end + 1);
    }
    text_.append(text, copied);
}

/// @return whether the list is known from now on
bool LiftedLists::take(std::string_view list) {
    if (std::ranges::find(known_, list) != known_.end())
        return true;
    if (!isDigit(list.front()) || lists_.size() == kMostLists)
        return false;
    const std::optional<platform::VlanBitmap> vlans = platform::parseVlanRanges(list);
    if (!vlans)
        return false;
    lists_.push_back(*vlans);
    known_.push_back(list);
    return true;
}

const platform::VlanBitmap* LiftedLists::find(std::string_view word) const {
    std::size_t index = 0;
    if (!word.starts_with(kMark))
        return nullptr;
    const auto [end, error] = std::from_chars(word.data() + 1, word.data() + word.size(), index);
    const bool whole = error == std::errc{} && end == word.data() + word.size();
    return whole && index < lists_.size() ? &lists_[index] : nullptr;
}

}  // namespace network
