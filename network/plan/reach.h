// SPDX-License-Identifier: MIT
//
// From when each VLAN was connected to what people ask: what is interrupted, between whom, for how
// long.
#pragma once

#include <string>
#include <vector>

#include "network/plan/follower.h"

namespace network {

enum class ReachKind {
    Interrupted,  ///< connected before and at the end, and not for a time between
    Lost,         ///< connected before, and not at the end
    Connected,    ///< not connected before, and at the end
};

/// VLANs between two groups of places, switches that want them.
struct Reach {
    ReachKind kind = ReachKind::Interrupted;
    VlanBitmap vlans{};
    std::vector<std::string> left;
    std::vector<std::string> right;
    u64 fromMs = 0;  ///< since the change: when it stopped, or when it began
    u64 forMs = 0;   ///< of Interrupted: altogether
    u32 times = 1;   ///< of Interrupted
};

/// The worst first: what is lost, what was interrupted longest, what became connected.
std::vector<Reach> reachesOf(const Network& network, const std::vector<AlikeHistory>& histories);

}  // namespace network
