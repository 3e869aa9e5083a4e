// SPDX-License-Identifier: MIT
#include "cli/client/safe_text.h"

#include <algorithm>
#include <cstddef>

namespace cli {

namespace {

constexpr char kInstead = '?';

u8 byteAt(const std::string& text, std::size_t at) {
    return static_cast<u8>(text[at]);
}

/// Bytes of the UTF-8 character that begins there; 0 when none does.
std::size_t characterAt(const std::string& text, std::size_t at) {
    const u8 first = byteAt(text, at);
    const std::size_t length = first < 0x80                     ? 1
                               : first >= 0xC2 && first <= 0xDF ? 2
                               : first >= 0xE0 && first <= 0xEF ? 3
                               : first >= 0xF0 && first <= 0xF4 ? 4
                                                                : 0;
    if (at + length > text.size())
        return 0;
    for (std::size_t next = 1; next < length; next++)
        if ((byteAt(text, at + next) & 0xC0) != 0x80)
            return 0;
    // Longer than it has to be, a surrogate, or beyond the last character.
    const u8 second = length > 2 ? byteAt(text, at + 1) : u8{0x80};
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F))
        return 0;
    return length;
}

/// C0 and C1, which a terminal takes for orders.
bool isControl(const std::string& text, std::size_t at) {
    const u8 first = byteAt(text, at);
    return first < 0x20 || first == 0x7F || (first == 0xC2 && byteAt(text, at + 1) < 0xA0);
}

}  // namespace

std::string safeText(std::string text, bool lines) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterAt(text, at);
        const std::size_t taken = std::max<std::size_t>(length, 1);
        const bool kept =
            lines && (text[at] == '\n' || text[at] == '\t' || text.compare(at, 2, "\r\n") == 0);
        if (length == 0 || (!kept && isControl(text, at)))
            text.replace(at, taken, taken, kInstead);
        at += taken;
    }
    return text;
}

std::string textOf(const Reply& reply) {
    return safeText({reinterpret_cast<const char*>(reply.value.data()), reply.value.size()}, true);
}

}  // namespace cli
