// SPDX-License-Identifier: MIT
//
// Log lines of the host itself, beside those of the daemon: one line each, to the console or to the
// journal. Thread-safe; no allocation; one write a line, so lines of several threads do not mix.
#pragma once

#include <string>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

/// Priorities, as the journal numbers them.
enum class LogPriority : int { Error = 3, Warning = 4, Notice = 5, Info = 6, Debug = 7 };

void logMessage(LogPriority priority, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/// The system's text for an errno value. Thread-safe.
std::string errorText(int error);

/// How a log line is written: for people, with the time, or for the journal, with a priority.
enum class LogForm { Console, Journal };

/// Longest line written; a longer one is cut.
inline constexpr u32 kMaxLogLine = 2048;

/// Formats one line into `line`, which holds kMaxLogLine bytes: line ends at either end of `text`
/// are stripped, other control characters become blanks, a line end is appended.
/// @return the length of the line
u32 formatLogLine(char* line, LogForm form, LogPriority priority, u32 logId, std::string_view text);

}  // namespace platform
