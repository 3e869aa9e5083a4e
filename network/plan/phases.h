// SPDX-License-Identifier: MIT
//
// Where the timers of a network stood when it was looked at, as far as snapshots tell: when each
// port sends a LeaveAll next, unless it hears one before, and when each switch applies what is
// pending. A LeaveAll that is sent or heard starts the time of the port anew (IEEE 802.1Q 10.7.11;
// the time is exact here, not between one and one and a half of it).
#pragma once

#include <optional>
#include <vector>

#include "network/join/topology.h"

namespace network {

/// The LeaveAll timer of a port that runs the protocol over a link. Times are milliseconds around
/// the moment of the network.
struct LeaveAllPhase {
    PortAt at;
    u64 lastMs = 0;      ///< before the moment: the last LeaveAll of the cable
    u64 nextMs = 0;      ///< after it: the port's own next one
    bool leads = false;  ///< the next of the cable is this port's
};

struct Phases {
    u64 momentMs = 0;                       ///< since the epoch: of the newest snapshot
    std::vector<LeaveAllPhase> ports;       ///< by place in the network, of those that are known
    std::vector<std::optional<u64>> apply;  ///< by switch: ms after the moment
    std::size_t running = 0;                ///< ports that run the protocol over a link
};

/// Reckons with clocks of switches that agree. A LeaveAll that one end of a cable tells of and the
/// other not, as its snapshot is older, counts for both. What is longer ago than a LeaveAll time
/// says nothing of a port: its link was down since then, or its time was changed.
Phases phasesOf(const Network& network);

}  // namespace network
