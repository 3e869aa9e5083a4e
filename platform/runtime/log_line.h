// SPDX-License-Identifier: MIT
//
// A line of the log with what it is about, so that the journal, and who asks the daemon, finds it
// by port, by VLAN and by kind. Thread-safe. A line of a kind (LogEvent) is not written on the
// frames' way and not with the daemon's lock held: it is formatted for the journal and sent to it.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string_view>

#include "platform/contract/types.h"
#include "platform/runtime/log.h"
#include "platform/runtime/log_event.h"

namespace platform {

/// A set of VLANs, laid out as the contract's bitmaps.
using LogVlans = std::array<u8, kVlanBitmapBytes>;

struct LogLine {
    LogPriority priority = LogPriority::Notice;
    LogEvent event = LogEvent::None;
    u32 logId = 0;                    ///< number of the daemon's log; 0: a line of the host's own
    u32 unit = 0;                     ///< of the port that it is about; 0: of none
    std::string_view port = {};       ///< its name
    const LogVlans* vlans = nullptr;  ///< that it is about; null: it is about none
    std::string_view text = {};
};

/// To the sink of lines, where there is one and the line is of a kind; else to the console, or its
/// sink. And into the log's book, where there is one, unless it is for debugging.
void writeLog(const LogLine& line);

/// logMessage() with a kind.
void logEvent(LogPriority priority, LogEvent event, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// Without line ends at either end; other control characters become blanks. What does not fit
/// `room` is cut off.
std::string_view cleanLogText(std::string_view text, std::span<char> room);

/// Takes lines of a kind with their fields, instead of the console.
class LineSink {
  public:
    LineSink() = default;
    virtual ~LineSink() = default;
    LineSink(const LineSink&) = delete;
    LineSink& operator=(const LineSink&) = delete;
    LineSink(LineSink&&) = delete;
    LineSink& operator=(LineSink&&) = delete;

    /// Any thread; never waits. @param line  its text and port without control characters
    /// @return whether it was taken
    virtual bool put(const LogLine& line) = 0;
};
/// Before there are tasks. It stays until the process ends, but in tests.
/// @return the one before
std::unique_ptr<LineSink> setLineSink(std::unique_ptr<LineSink> sink);

class LogBook;
/// From now on the latest lines are kept. Once, before there are tasks; it stays until the end.
void keepLog();
/// @return null before keepLog()
const LogBook* logBook();

}  // namespace platform
