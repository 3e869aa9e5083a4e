// SPDX-License-Identifier: MIT
//
// A daemon of a few numbers behind the handler table: ports 3 and 9, whose attributes and scalars
// are what was set last. One record for the process, as the real daemon has it.
#pragma once

#include <map>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/contract/icm.h"

namespace fake {

inline constexpr u32 kNoSuchPort = 0x03E80002;
inline constexpr u32 kRefused = 0x04040003;

/// A scalar whose set handler returns with the lock held, and one that fails to be set.
inline constexpr u32 kScalarKeepsLock = 3;
inline constexpr u32 kScalarRefuses = 7;

struct Daemon {
    std::mutex guard;
    u32 sem = 0;
    std::map<u32, u32> scalars;
    std::map<std::pair<u32, u32>, u32> attributes;  ///< by {unit, attribute}
    std::vector<u8> packet;                         ///< of scalar 4
    std::vector<std::string> calls;                 ///< "set scalar 1 = 1" and the like
    /// Times are refused unless 2 x join (5) <= leave (6) <= leave-all (7).
    bool checksTimes = false;
};

Daemon& daemon();
/// As after a start, with a lock of its own.
void reset();

std::span<const IcmFunc> table();

}  // namespace fake
