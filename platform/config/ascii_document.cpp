// SPDX-License-Identifier: MIT
#include "platform/config/ascii_document.h"

#include <string_view>

namespace platform {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr unsigned char kLastAscii = 0x7F;

/// Knows, character by character, whether a comment is being read. Strings end with their line
/// here: a '#' in the second line of a long string counts as a comment, which only hides a byte
/// that would be refused.
class CommentTracker {
  public:
    bool inComment() const { return comment_; }

    void take(char next) {
        if (next == '\n') {
            comment_ = false;
            quote_ = '\0';
        } else if (escaped_) {
            escaped_ = false;
        } else if (quote_ != '\0') {
            escaped_ = quote_ == '"' && next == '\\';
            if (next == quote_)
                quote_ = '\0';
        } else if (next == '#') {
            comment_ = true;
        } else if (!comment_ && (next == '"' || next == '\'')) {
            quote_ = next;
        }
    }

  private:
    bool comment_ = false;
    bool escaped_ = false;
    char quote_ = '\0';  ///< of the string that is being read
};

}  // namespace

std::optional<ConfigProblem> makeAsciiDocument(std::string& document) {
    if (document.starts_with(kByteOrderMark))
        document.erase(0, kByteOrderMark.size());
    CommentTracker tracker;
    ConfigPlace place{1, 1};
    for (char& c : document) {
        if (static_cast<unsigned char>(c) > kLastAscii) {
            if (!tracker.inComment())
                return ConfigProblem{
                    place, "a character outside of ASCII; it is allowed in comments only"};
            c = '?';
        }
        tracker.take(c);
        place =
            c == '\n' ? ConfigPlace{place.line + 1, 1} : ConfigPlace{place.line, place.column + 1};
    }
    return std::nullopt;
}

}  // namespace platform
