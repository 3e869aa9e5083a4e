// SPDX-License-Identifier: MIT
//
// Reading the words of a scenario: numbers, hexadecimal bytes, sets of VLANs, key=value pairs.
// Every reader throws UsageError, whose text says what was found and what is allowed.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/contract/types.h"
#include "platform/virtual/state/vlan_set.h"
#include "platform/virtual/state/words.h"

namespace scenario {

using Words = std::span<const std::string>;

/// Words of a line: what stands before `#`, split at blanks.
std::vector<std::string> splitWords(std::string_view line);

/// A number from `least` to `most`. `what` names it in the error.
u64 parseNumber(std::string_view word, u64 least, u64 most, std::string_view what);
u32 parseU32(std::string_view word, std::string_view what);
/// A signed or unsigned number of 32 bits, as the bits that carry it.
u32 parseStatus(std::string_view word, std::string_view what);

/// Ranges of VLAN IDs from 0 to 4096, `1-3,7`, or `-` for none.
VlanSet parseVlanSet(std::string_view word);

/// The bytes of one hexadecimal string that may be spread over several words; at most `most` bytes.
std::vector<u8> parseHex(Words words, u32 most);
/// Exactly the six bytes of a MAC address.
MacAddress parseMac(std::string_view word);

struct KeyValue {
    std::string_view key;
    std::string_view value;
};
/// A `key=value` word.
KeyValue parseKeyValue(std::string_view word);

}  // namespace scenario
