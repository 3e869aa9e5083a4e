// SPDX-License-Identifier: MIT
//
// Frames on their way over the cables of a network.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "platform/contract/types.h"
#include "platform/model/mac_address.h"

namespace simulation {

struct PortEnd {
    u32 node = 0;
    u32 unit = 0;
};

/// Ports of a switch mostly send the same, but for their own address; millions of frames may be on
/// their way in a large network.
struct Arrival {
    PortEnd to;
    u32 cable = 0;
    bool gvrp = false;
    std::array<u8, 2 * std::tuple_size_v<platform::MacAddress>> addresses{};
    std::shared_ptr<const std::vector<u8>> rest;  ///< of the frame, behind the addresses
};

/// By the millisecond in which they arrive; those of one by switch and port, and at a port in the
/// order in which they were sent. So what a switch hears does not depend on when others had their
/// turns within a millisecond, and its state is at hand for all that it hears.
class Arrivals {
  public:
    void add(u64 atMs, Arrival&& arrival);
    /// When the first one arrives; UINT64_MAX: there is none.
    u64 nextMs() const { return byMs_.empty() ? UINT64_MAX : byMs_.begin()->first; }
    /// Takes the first one out. There is one.
    Arrival take();

  private:
    /// Where one stands among those of its millisecond.
    struct Place {
        PortEnd to;
        u32 number = 0;  ///< in the order in which they were sent
        bool operator<(const Place& other) const {
            return std::tie(to.node, to.unit, number) <
                   std::tie(other.to.node, other.to.unit, other.number);
        }
    };
    struct Millisecond {
        std::vector<Arrival> frames;  ///< as they were sent
        std::vector<Place> order;     ///< of those that were there when it was made
        std::size_t taken = 0;        ///< of the order
        std::size_t ordered = 0;      ///< frames that are, or were, in the order
        bool done() const { return taken == order.size() && ordered == frames.size(); }
        void putInOrder();
    };

    std::map<u64, Millisecond> byMs_;  ///< each with one to be taken
    std::vector<Millisecond> room_;    ///< of milliseconds that have passed
};

}  // namespace simulation
