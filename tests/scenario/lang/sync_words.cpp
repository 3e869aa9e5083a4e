// SPDX-License-Identifier: MIT
#include "tests/scenario/lang/sync_words.h"

#include <limits>

#include "platform/virtual/state/sync_message.h"

namespace scenario {
namespace {

constexpr u32 kMostBytes = 65536;

}  // namespace

std::vector<u8> parseSyncWords(Words words) {
    if (words.empty() || words.front().find('=') == std::string::npos)
        return parseHex(words, kMostBytes);
    u8 type = 0;
    u32 unit = 0;
    VlanSet vlans;
    for (const auto& word : words) {
        const auto pair = parseKeyValue(word);
        if (pair.key == "type")
            type = static_cast<u8>(
                parseNumber(pair.value, 0, std::numeric_limits<u8>::max(), pair.key));
        else if (pair.key == "unit")
            unit = parseU32(pair.value, pair.key);
        else if (pair.key == "vids")
            vlans = parseVlanSet(pair.value);
        else
            throw UsageError("'" + std::string(pair.key) + "' is none of type, unit, vids");
    }
    return buildSyncMessage(type, unit, vlans);
}

}  // namespace scenario
