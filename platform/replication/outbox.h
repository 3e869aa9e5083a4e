// SPDX-License-Identifier: MIT
//
// What waits to be told to the standby of a port's VLANs: bounded, and never more than is still
// true. A list holds all VLANs of its port, so a newer one replaces an older one of the same kind.
// An addition does not take back what a removal says, nor the other way round: one of each kind is
// kept, in the order in which they came last.
//
// Locking: none; its owner has one. Nothing is allocated after the construction.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/contract/types.h"

namespace platform {

/// A synchronisation message of the daemon: u8 kind, u8, u16 length, u32 unit (both most
/// significant byte first), then a bitmap of VLANs.
inline constexpr std::size_t kVlanListBytes = 520;
using VlanList = std::array<u8, kVlanListBytes>;

enum class VlanListKind : u8 {
    Applied = 2,     ///< the VLANs that the active applies on the port
    NotApplied = 3,  ///< those that it does not
};

class Outbox {
  public:
    /// @param mostPorts  that may wait at a time, at least 1; with more, the longest waiting goes
    explicit Outbox(u32 mostPorts);

    /// @return whether `message` is a list of a port; anything else is not kept
    bool put(std::span<const u8> message);
    /// Takes the next one out. @return false when there is none
    bool take(VlanList& list);
    void clear();

    bool empty() const { return waiting_.empty(); }
    /// Lists that went because there were too many ports, since the construction.
    u64 dropped() const { return dropped_; }

  private:
    struct Port {
        u32 unit;
        u32 count;  ///< of lists: 1 or 2
        std::array<VlanList, 2> lists;
    };

    Port& portOf(u32 unit);
    Port& newPort(u32 unit);

    const u32 mostPorts_;
    std::unique_ptr<Port[]> ports_;  ///< pages that were never used cost nothing
    std::vector<u32> free_;          ///< indices of ports_
    std::vector<u32> waiting_;       ///< indices of ports_, the longest waiting first
    u64 dropped_ = 0;
};

}  // namespace platform
