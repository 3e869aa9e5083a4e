// SPDX-License-Identifier: MIT
//
// Sequence numbers that no earlier run of the daemon has used: they begin at the time of the start.
#pragma once

#include "platform/net/clock.h"

namespace platform {

/// Microseconds since the epoch: below 2^53, so that JSON numbers hold them exactly.
inline u64 firstSequence() {
    return wallClockUs();
}

}  // namespace platform
