// SPDX-License-Identifier: MIT
//
// Log lines of the host itself, beside those of the daemon: one line each, to the console or to the
// journal. Thread-safe; no allocation; one write a line, so lines of several threads do not mix.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

/// Priorities, as the journal numbers them.
enum class LogPriority : int { Error = 3, Warning = 4, Notice = 5, Info = 6, Debug = 7 };

void logMessage(LogPriority priority, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

enum class ConsoleStream { Output, Error };

/// Takes what goes to the console, lines of the log among it, instead of the console itself.
class ConsoleSink {
  public:
    virtual ~ConsoleSink() = default;
    /// Any thread; never waits. @return whether it was taken
    virtual bool put(ConsoleStream stream, std::string_view text) = 0;
    /// Waits until all is written, for a bounded time. @return whether it is
    virtual bool flush(std::chrono::milliseconds within) = 0;
};
/// Once, before there are tasks. It stays until the process ends.
void setConsoleSink(std::unique_ptr<ConsoleSink> sink);

/// Writes to the console, or to its sink. @return whether it could be written
bool writeConsole(ConsoleStream stream, std::string_view text);
/// Waits until the sink has written all, for a bounded time. @return whether it has
bool flushConsole(std::chrono::milliseconds within);

/// The system's text for an errno value. Thread-safe.
std::string errorText(int error);

/// How a log line is written: for people, with the time, or for the journal, with a priority.
enum class LogForm { Console, Journal };

/// That of this process.
LogForm logForm();

/// Longest line written; a longer one is cut.
inline constexpr u32 kMaxLogLine = 2048;

/// Formats one line into `line`, which holds kMaxLogLine bytes: line ends at either end of `text`
/// are stripped, other control characters become blanks, a line end is appended.
/// @return the length of the line
u32 formatLogLine(char* line, LogForm form, LogPriority priority, u32 logId, std::string_view text);

}  // namespace platform
