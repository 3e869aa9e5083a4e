// SPDX-License-Identifier: MIT
//
// The latest lines of the log, in a ring of fixed size, for who asks the daemon for them.
//
// Locking: any thread; one guard, held while one line is copied. add() allocates nothing and makes
// no system call.
#pragma once

#include <memory>
#include <mutex>

#include "platform/runtime/log_line.h"

namespace platform {

/// Lines that are kept.
inline constexpr u32 kLogLinesKept = 1024;
/// Of a line's text; a longer one is cut.
inline constexpr std::size_t kLogTextKept = 1000;

class LogBook {
  public:
    /// One line as it is kept.
    struct Kept {
        u64 sequence;
        u64 timeMs;  ///< since the epoch
        LogPriority priority;
        LogEvent event;
        u32 unit;
        bool ofVlans;
        u8 portLength;
        u16 textLength;
        LogVlans vlans;
        std::array<char, 64> portBytes;
        std::array<char, kLogTextKept> textBytes;

        std::string_view port() const { return {portBytes.data(), portLength}; }
        std::string_view text() const { return {textBytes.data(), textLength}; }
    };

    /// The memory is taken by the system as it is filled.
    LogBook();

    /// @param line  its text without control characters
    void add(const LogLine& line);
    /// Copies the oldest line after `since` that is kept. @return whether there is one
    bool next(u64 since, Kept& line) const;
    /// The sequence number of the newest line. Numbers begin at the time of the start in
    /// microseconds, so that those of an earlier run are below them.
    u64 newest() const;
    /// Of the oldest that is kept; newest() + 1 when there is none.
    u64 oldest() const;
    /// Whether lines of this run are no longer kept.
    bool overwritten() const { return oldest() != start_ + 1; }

  private:
    /// @pre guard_ is held
    u64 oldestLocked() const;

    const u64 start_;  ///< the number before the first
    mutable std::mutex guard_;
    u64 newest_;                           ///< guarded by guard_
    const std::unique_ptr<Kept[]> slots_;  ///< guarded by guard_
};

}  // namespace platform
