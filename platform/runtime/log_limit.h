// SPDX-License-Identifier: MIT
//
// How often one place may log what others bring about: a few lines at once, then one each pause,
// with how many were left out since.
//
// Locking: none; the object belongs to one thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "platform/contract/types.h"

namespace platform {

class LogLimit {
  public:
    using Clock = std::chrono::steady_clock;

    /// Lines that are logged at once after a time of silence.
    static constexpr u32 kBurst = 5;
    /// After those, from one line to the next.
    static constexpr std::chrono::seconds kPause{10};

    /// @return how many lines were left out since the last one; nothing when this one is, too
    std::optional<u32> mayLog(Clock::time_point now = Clock::now()) {
        if (now - last_ >= kPause * kBurst)
            saved_ = kBurst;
        else if (saved_ == 0 && now - last_ >= kPause)
            saved_ = 1;
        if (saved_ == 0) {
            left_++;
            return std::nullopt;
        }
        saved_--;
        last_ = now;
        return std::exchange(left_, 0);
    }

    /// What is appended to a line for those that were left out before it.
    static std::string leftOut(u32 count) {
        return count == 0 ? "" : "; " + std::to_string(count) + " more like it are not in the log";
    }

  private:
    u32 saved_ = kBurst;
    u32 left_ = 0;
    Clock::time_point last_{};
};

}  // namespace platform
