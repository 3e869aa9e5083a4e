// SPDX-License-Identifier: MIT
#include "tests/scenario/lang/text.h"

#include <algorithm>
#include <limits>

namespace scenario {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";

std::string quoted(std::string_view word) {
    return "'" + std::string(word) + "'";
}

/// Value of a hexadecimal digit, or -1.
int digitOf(char digit) {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

void addRange(VlanSet& set, std::string_view range) {
    const auto dash = range.find('-');
    const u64 first = parseNumber(range.substr(0, dash), 0, kVlanSetLast, "VLAN ID");
    const u64 last = dash == std::string_view::npos
                         ? first
                         : parseNumber(range.substr(dash + 1), first, kVlanSetLast, "VLAN ID");
    for (u64 vid = first; vid <= last; vid++)
        set.set(static_cast<std::size_t>(vid));
}

}  // namespace

std::vector<std::string> splitWords(std::string_view line) {
    line = line.substr(0, line.find('#'));
    std::vector<std::string> words;
    for (auto start = line.find_first_not_of(kBlanks); start != std::string_view::npos;) {
        const auto end = std::min(line.find_first_of(kBlanks, start), line.size());
        words.emplace_back(line.substr(start, end - start));
        start = line.find_first_not_of(kBlanks, end);
    }
    return words;
}

u64 parseNumber(std::string_view word, u64 least, u64 most, std::string_view what) {
    const auto value = numberOf(word);
    if (!value || *value < least || *value > most)
        throw UsageError(std::string(what) + ": " + quoted(word) + " is not a number from " +
                         std::to_string(least) + " to " + std::to_string(most));
    return *value;
}

u32 parseU32(std::string_view word, std::string_view what) {
    return static_cast<u32>(parseNumber(word, 0, std::numeric_limits<u32>::max(), what));
}

u32 parseStatus(std::string_view word, std::string_view what) {
    if (!word.starts_with('-'))
        return parseU32(word, what);
    return 0U - static_cast<u32>(parseNumber(word.substr(1), 0, 0x80000000U, what));
}

VlanSet parseVlanSet(std::string_view word) {
    VlanSet set;
    if (word == "-")
        return set;
    for (std::size_t start = 0; start <= word.size();) {
        const auto comma = std::min(word.find(',', start), word.size());
        addRange(set, word.substr(start, comma - start));
        start = comma + 1;
    }
    return set;
}

std::vector<u8> parseHex(Words words, u32 most) {
    std::string digits;
    for (const auto& word : words)
        digits += word;
    if (digits.size() % 2 != 0)
        throw UsageError("hexadecimal bytes: an odd number of digits");
    if (digits.size() / 2 > most)
        throw UsageError("hexadecimal bytes: " + std::to_string(digits.size() / 2) +
                         " bytes, at most " + std::to_string(most) + " are allowed");
    std::vector<u8> bytes(digits.size() / 2);
    for (std::size_t index = 0; index < digits.size(); index++) {
        const int digit = digitOf(digits[index]);
        if (digit < 0)
            throw UsageError("hexadecimal bytes: " + quoted(digits.substr(index, 1)) +
                             " is not a hexadecimal digit");
        bytes[index / 2] = static_cast<u8>(bytes[index / 2] << 4 | digit);
    }
    return bytes;
}

MacAddress parseMac(std::string_view word) {
    const std::string text(word);
    const auto bytes = parseHex(Words(&text, 1), static_cast<u32>(MacAddress{}.size()));
    MacAddress mac{};
    if (bytes.size() != mac.size())
        throw UsageError("MAC address: " + quoted(word) + " is not 12 hexadecimal digits");
    std::copy(bytes.begin(), bytes.end(), mac.begin());
    return mac;
}

KeyValue parseKeyValue(std::string_view word) {
    const auto equals = word.find('=');
    if (equals == std::string_view::npos)
        throw UsageError(quoted(word) + " is not of the form key=value");
    return {word.substr(0, equals), word.substr(equals + 1)};
}

}  // namespace scenario
