// SPDX-License-Identifier: MIT
//
// A JSON answer: its version, then its members. Only for files that make answers, since the JSON
// library is slow to compile.
#pragma once

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/print/words.h"

namespace cli {

using Json = nlohmann::ordered_json;

/// Counts up when a key changes its meaning.
inline constexpr int kFormatVersion = 1;

/// A whole answer with its version, over several lines.
inline std::string finished(const Json& members) {
    Json document = {{"version", kFormatVersion}};
    document.update(members);
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// The same on one line: one of a stream.
inline std::string finishedLine(const Json& members) {
    Json document = {{"version", kFormatVersion}};
    document.update(members);
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

inline Json macOrNull(const std::array<u8, 6>& mac) {
    const bool known = std::ranges::any_of(mac, [](u8 byte) { return byte != 0; });
    return known ? Json(formatMac(mac)) : Json(nullptr);
}

}  // namespace cli
