// SPDX-License-Identifier: MIT
//
// The two clocks of the frame layer, in microseconds.
#pragma once

#include <chrono>

#include "platform/contract/types.h"

namespace platform {

/// Never goes back; for intervals.
inline u64 monotonicUs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<u64>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

/// Since the epoch; for captures.
inline u64 wallClockUs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<u64>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace platform
