// SPDX-License-Identifier: MIT
//
// Pseudo-random numbers that are the same on every machine and with every library: SplitMix64.
#pragma once

#include "platform/contract/types.h"

namespace simulation {

class Random {
  public:
    explicit Random(u64 seed) : state_(seed) {}

    u64 next() {
        state_ += 0x9E3779B97F4A7C15U;
        u64 mixed = state_;
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }
    /// From 0 to `count` - 1; 0 for a count of 0.
    u32 below(u32 count) { return count == 0 ? 0 : static_cast<u32>(next() % count); }
    /// From `first` to `last`, both included.
    u32 between(u32 first, u32 last) { return first + below(last - first + 1); }
    bool percent(u32 chance) { return below(100) < chance; }

  private:
    u64 state_;
};

}  // namespace simulation
