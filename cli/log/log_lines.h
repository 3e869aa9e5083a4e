// SPDX-License-Identifier: MIT
//
// The lines of the log that a daemon keeps: asked for, and how `mvrpctl log` shows them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/client/client.h"
#include "cli/print/table.h"
#include "platform/channel/observations.h"

namespace cli {

struct LogLine {
    u64 sequence = 0;
    u64 timeMs = 0;  ///< since the epoch
    u32 priority = 0;
    u32 unit = 0;       ///< 0: it is about no port
    std::string port;   ///< empty: of none
    std::string event;  ///< a word for its kind; empty: it has none
    std::string text;
    std::string vlans;  ///< as ranges; empty: it is about none
};

struct LogLines {
    std::vector<LogLine> lines;  ///< oldest first
    bool lost = false;           ///< there were older ones that are no longer kept
    u64 next = 0;                ///< `since` of the query that goes on
};

/// Asks until there are no more. Errors as those of queries.h.
LogLines queryLog(Client& client, platform::LogQuery query);

/// A point in time that a person names: "90s", "10m", "2h", "3d" ago, "14:30" or "14:30:15", which
/// is yesterday's when it is still to come today, "2026-11-22", "2026-11-22 14:30". Local time.
/// @return ms since the epoch; nothing for another text
std::optional<u64> parseTime(const std::string& text, u64 nowMs);
inline constexpr const char* kTimesAllowed =
    "a time that has passed, as 90s, 10m, 2h or 3d, or a point in time, as 14:30, 14:30:15, "
    "2026-11-22 or \"2026-11-22 14:30\"";

/// "2026-11-22 14:30:15.123  notice   swp3: VLANs 10-12 learnt", with its line end.
std::string logLineText(const LogLine& line, const Style& style);
/// @param last  no more than the last so many of the lines
std::string logJson(const LogLines& log, std::size_t last);

}  // namespace cli
