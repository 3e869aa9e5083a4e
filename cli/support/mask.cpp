// SPDX-License-Identifier: MIT
#include "cli/support/mask.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace cli {

namespace {

constexpr std::size_t kMacText = 17;
constexpr std::size_t kMacBytes = 6;
constexpr std::size_t kPcapHeader = 24;
constexpr std::size_t kPcapRecord = 16;
constexpr std::size_t kPcapLength = 8;  ///< of the record, where the length of the frame stands
constexpr std::size_t kSource = 6;      ///< of a frame, where its source address stands

bool isHex(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

bool isWordLetter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == ':' || c == '_';
}

bool isMac(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); i++)
        if (i % 3 == 2 ? text[i] != ':' : !isHex(text[i]))
            return false;
    return text.size() == kMacText;
}

std::string lowered(std::string_view text) {
    std::string low(text);
    std::ranges::transform(low, low.begin(), [](unsigned char c) { return std::tolower(c); });
    return low;
}

template <typename... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

/// How many letters of the front are among these.
template <typename Allowed>
std::size_t spanOf(std::string_view text, Allowed allowed) {
    return static_cast<std::size_t>(std::ranges::find_if_not(text, allowed) - text.begin());
}

}  // namespace

std::string Masker::macFor(const std::string& address) {
    const auto first = static_cast<unsigned>(std::stoul(address.substr(0, 2), nullptr, 16));
    if ((first & 1U) != 0 || address == "00:00:00:00:00:00")
        return address;
    const auto number = static_cast<unsigned>(macs_.size() + 1);
    const auto [found, isNew] = macs_.try_emplace(address);
    if (isNew)
        found->second = formatted("02:00:00:%02x:%02x:%02x", (number >> 16U) & 0xFFU,
                                  (number >> 8U) & 0xFFU, number & 0xFFU);
    return found->second;
}

std::string Masker::ipv4For(const std::string& address) {
    in_addr parsed{};
    inet_pton(AF_INET, address.c_str(), &parsed);
    const u32 host = ntohl(parsed.s_addr);
    const u32 first = host >> 24U;
    if (first == 0 || first == 127 || first >= 224)
        return address;
    const auto number = static_cast<unsigned>(ipv4_.size() + 1);
    const auto [found, isNew] = ipv4_.try_emplace(address);
    if (isNew)
        found->second = formatted("198.18.%u.%u", (number >> 8U) & 0xFFU, number & 0xFFU);
    return found->second;
}

std::string Masker::ipv6For(const std::string& address) {
    in6_addr parsed{};
    inet_pton(AF_INET6, address.c_str(), &parsed);
    if (IN6_IS_ADDR_LOOPBACK(&parsed) || IN6_IS_ADDR_UNSPECIFIED(&parsed) ||
        IN6_IS_ADDR_MULTICAST(&parsed))
        return address;
    // One address has several spellings.
    std::array<char, INET6_ADDRSTRLEN> plain{};
    inet_ntop(AF_INET6, &parsed, plain.data(), plain.size());
    const auto number = static_cast<unsigned>(ipv6_.size() + 1);
    const auto [found, isNew] = ipv6_.try_emplace(plain.data());
    if (isNew)
        found->second = formatted("2001:db8::%x", number);
    return found->second;
}

std::string Masker::takeMac(std::string_view& rest) {
    const std::string_view text = rest.substr(0, kMacText);
    if (!isMac(text) || (rest.size() > kMacText && isWordLetter(rest[kMacText])))
        return {};
    rest.remove_prefix(kMacText);
    return macFor(lowered(text));
}

std::string Masker::takeIpv4(std::string_view& rest) {
    std::size_t length = spanOf(
        rest, [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '.'; });
    while (length > 0 && rest[length - 1] == '.')
        length--;
    const std::string text(rest.substr(0, length));
    in_addr parsed{};
    if (inet_pton(AF_INET, text.c_str(), &parsed) != 1)
        return {};
    rest.remove_prefix(length);
    return ipv4For(text);
}

std::string Masker::takeIpv6(std::string_view& rest) {
    const std::size_t length =
        spanOf(rest, [](char c) { return isHex(c) || c == ':' || c == '.'; });
    const std::string text(rest.substr(0, length));
    in6_addr parsed{};
    if (std::ranges::count(text, ':') < 2 || inet_pton(AF_INET6, text.c_str(), &parsed) != 1)
        return {};
    rest.remove_prefix(length);
    return ipv6For(text);
}

std::string Masker::takeAddress(std::string_view& rest) {
    for (const auto take : {&Masker::takeMac, &Masker::takeIpv6, &Masker::takeIpv4})
        if (std::string mask = (this->*take)(rest); !mask.empty())
            return mask;
    return {};
}

std::string Masker::masked(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    bool inWord = false;
    while (!text.empty()) {
        if (!inWord && (isHex(text.front()) || text.front() == ':')) {
            const std::string mask = takeAddress(text);
            out += mask;
            inWord = !mask.empty();
            if (inWord)
                continue;
        }
        inWord = isWordLetter(text.front());
        out += text.front();
        text.remove_prefix(1);
    }
    return out;
}

std::string Masker::maskedCapture(std::string capture) {
    for (std::size_t at = kPcapHeader; at + kPcapRecord <= capture.size();) {
        u32 length = 0;
        std::memcpy(&length, capture.data() + at + kPcapLength, sizeof length);
        const std::size_t source = at + kPcapRecord + kSource;
        at += kPcapRecord + length;
        if (length < kSource + kMacBytes || at > capture.size())
            continue;
        std::array<unsigned char, kMacBytes> bytes{};
        std::memcpy(bytes.data(), capture.data() + source, kMacBytes);
        const std::string mask =
            macFor(formatted("%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                             bytes[3], bytes[4], bytes[5]));
        for (std::size_t i = 0; i < kMacBytes; i++)
            capture[source + i] = static_cast<char>(std::stoul(mask.substr(3 * i, 2), nullptr, 16));
    }
    return capture;
}

}  // namespace cli
