// SPDX-License-Identifier: MIT
//
// Frames on their way over the cables of a network.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "platform/contract/types.h"

namespace simulation {

struct PortEnd {
    u32 node = 0;
    u32 unit = 0;
};

struct Arrival {
    PortEnd to;
    u32 cable = 0;
    bool gvrp = false;
    std::vector<u8> bytes;
};

/// By the millisecond in which they arrive; those of one in the order in which they were sent.
class Arrivals {
  public:
    void add(u64 atMs, Arrival&& arrival);
    /// When the first one arrives; UINT64_MAX: there is none.
    u64 nextMs() const { return byMs_.empty() ? UINT64_MAX : byMs_.begin()->first; }
    /// Takes the first one out. There is one.
    Arrival take();

  private:
    struct Millisecond {
        std::vector<Arrival> frames;
        std::size_t taken = 0;
    };

    std::map<u64, Millisecond> byMs_;         ///< each with one to be taken
    std::vector<std::vector<Arrival>> room_;  ///< of milliseconds that have passed
};

}  // namespace simulation
