// SPDX-License-Identifier: MIT
#include "platform/virtual/state/trace.h"

#include <array>
#include <cstdio>

namespace scenario {
namespace {

constexpr u32 kFirstHexStatus = 256;
constexpr std::string_view kIndent = "  ";

/// What stands for a character inside a quoted text.
std::string escaped(char character) {
    switch (character) {
        case '\r':
            return "\\r";
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        default:
            break;
    }
    const auto byte = static_cast<u8>(character);
    if (byte >= 0x20 && byte != 0x7f)
        return {character};
    return "\\x" + toHex(&byte, 1);
}

}  // namespace

void Trace::write(std::string_view indent, std::string_view text) {
    if (!on())
        return;
    std::string whole;
    whole.reserve(indent.size() + text.size() + 1);
    whole.append(indent).append(text).push_back('\n');
    sink_(whole);
}

void Trace::echo(std::string_view command) {
    write("> ", command);
}

void Trace::event(u64 nowMs, std::string_view text) {
    if (nowMs != printedMs_) {
        printedMs_ = nowMs;
        write(kIndent, "t=" + std::to_string(nowMs));
    }
    write(kIndent, text);
}

void Trace::line(std::string_view text) {
    write(kIndent, text);
}

std::string quoteText(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text)
        quoted += escaped(character);
    return quoted + "\"";
}

std::string toHex(const u8* bytes, std::size_t count) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(count * 2);
    for (std::size_t index = 0; index < count; index++) {
        text.push_back(kDigits[bytes[index] >> 4U]);
        text.push_back(kDigits[bytes[index] & 0x0FU]);
    }
    return text;
}

std::string formatStatus(u32 status) {
    if (status < kFirstHexStatus)
        return std::to_string(status);
    if (status == kStatusFailed)
        return "-1";
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%x", status);
    return text.data();
}

}  // namespace scenario
