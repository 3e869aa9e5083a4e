// SPDX-License-Identifier: MIT
//
// Archives as tar writes them: blocks of 512 bytes, a header before each file (IEEE 1003.1 ustar),
// and headers for long names (pax, GNU). Nothing of an archive is unpacked to the disk.
#include <charconv>
#include <optional>
#include <string_view>

#include "network/read/sources.h"

namespace network {

namespace {

constexpr std::size_t kBlock = 512;
constexpr std::size_t kNameBytes = 100;
constexpr std::size_t kSizeAt = 124;
constexpr std::size_t kSizeBytes = 12;
constexpr std::size_t kTypeAt = 156;
constexpr std::size_t kPrefixAt = 345;
constexpr std::size_t kPrefixBytes = 155;

enum Type : char { kFile = '0', kOldFile = '\0', kPax = 'x', kGnuLongName = 'L' };

std::string_view field(std::string_view header, std::size_t at, std::size_t bytes) {
    const std::string_view whole = header.substr(at, bytes);
    return whole.substr(0, whole.find('\0'));
}

std::optional<std::size_t> sizeOf(std::string_view header) {
    std::string_view digits = field(header, kSizeAt, kSizeBytes);
    while (!digits.empty() && digits.front() == ' ')
        digits.remove_prefix(1);
    std::size_t size = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), size, 8);
    return error == std::errc() ? std::optional(size) : std::nullopt;
}

std::string nameOf(std::string_view header) {
    const std::string_view prefix = field(header, kPrefixAt, kPrefixBytes);
    const std::string name(field(header, 0, kNameBytes));
    return header.substr(257, 5) == "ustar" && !prefix.empty() ? std::string(prefix) + "/" + name
                                                               : name;
}

/// The path of a pax header: lines of "LENGTH KEY=VALUE".
std::string paxName(std::string_view records) {
    constexpr std::string_view kKey = " path=";
    const std::size_t key = records.find(kKey);
    if (key == std::string_view::npos)
        return {};
    const std::string_view rest = records.substr(key + kKey.size());
    return std::string(rest.substr(0, rest.find('\n')));
}

}  // namespace

std::string readTar(const std::string& archive,
                    const std::function<void(std::string name, std::string content)>& take) {
    std::string_view rest = archive;
    std::string longName;
    while (rest.size() >= kBlock && rest.front() != '\0') {
        const std::string_view header = rest.substr(0, kBlock);
        const std::optional<std::size_t> size = sizeOf(header);
        if (!size)
            return "is no tar archive, or is damaged";
        rest.remove_prefix(kBlock);
        if (*size > rest.size())
            return "breaks off: the archive is not whole";
        const std::string_view content = rest.substr(0, *size);
        switch (header[kTypeAt]) {
            case kPax:
                longName = paxName(content);
                break;
            case kGnuLongName:
                longName = content.substr(0, content.find('\0'));
                break;
            case kFile:
            case kOldFile:
                take(longName.empty() ? nameOf(header) : longName, std::string(content));
                [[fallthrough]];
            default:
                longName.clear();
        }
        const std::size_t padded = (*size + kBlock - 1) / kBlock * kBlock;
        rest.remove_prefix(std::min(padded, rest.size()));
    }
    return rest.empty() || rest.front() == '\0' ? "" : "breaks off: the archive is not whole";
}

}  // namespace network
