// SPDX-License-Identifier: MIT
#include "platform/config/ascii_check.h"

namespace platform {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr unsigned char kLastAscii = 0x7F;

/// Walks a document, knowing what is string, comment, and neither.
class Scanner {
  public:
    explicit Scanner(std::string_view document) : rest_(document) {
        if (rest_.starts_with(kByteOrderMark))
            skip(kByteOrderMark.size());
    }

    std::optional<ConfigProblem> run() {
        while (!rest_.empty()) {
            const char next = rest_.front();
            if (static_cast<unsigned char>(next) > kLastAscii)
                return ConfigProblem{place_,
                                     "a character outside of ASCII stands outside of a string; put "
                                     "it between quotes, or remove it"};
            if (next == '#')
                skip(rest_.find('\n'));
            else if (next == '"' || next == '\'')
                skipString(next);
            else
                skip(1);
        }
        return std::nullopt;
    }

  private:
    /// Moves on by `count` bytes, or to the end.
    void skip(std::size_t count) {
        const std::string_view passed = rest_.substr(0, count);
        for (const char c : passed) {
            if (c == '\n')
                place_ = {place_.line + 1, 1};
            else
                ++place_.column;
        }
        rest_.remove_prefix(passed.size());
    }

    /// A string ends with its quote, one or three of them, or unless it is a long one with its
    /// line.
    void skipString(char quote) {
        const std::string longQuote(3, quote);
        const bool isLong = rest_.starts_with(longQuote);
        const std::string_view end =
            isLong ? std::string_view(longQuote) : std::string_view(longQuote).substr(0, 1);
        skip(end.size());
        while (!rest_.empty() && !rest_.starts_with(end) && (isLong || rest_.front() != '\n'))
            skip(quote == '"' && rest_.front() == '\\' ? 2 : 1);
        skip(rest_.starts_with(end) ? end.size() : 0);
        // Up to two quotes may belong to the text of a long string and touch its end.
        for (int extra = 0; isLong && extra < 2 && rest_.starts_with(quote); ++extra)
            skip(1);
    }

    std::string_view rest_;
    ConfigPlace place_{1, 1};
};

}  // namespace

std::optional<ConfigProblem> findForeignCharacter(std::string_view document) {
    return Scanner(document).run();
}

}  // namespace platform
