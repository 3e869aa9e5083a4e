// SPDX-License-Identifier: MIT
//
// `mvrpctl snapshot`: everything that is known of a switch at one moment, as one JSON document that
// mvrp-net reads. What the daemon knows comes in one answer, during which it does nothing else
// (read.cpp); the bridge's facts and what lldpd knows are read beside it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/client/observed.h"
#include "cli/client/queries.h"
#include "platform/channel/snapshot_records.h"
#include "platform/inspect/system_facts.h"

namespace cli {

struct PortSnapshot {
    PortView view;
    platform::PortStatisticsRecord statistics{};
    std::vector<platform::VlanTimeRun> heard;      ///< neighbours declared them
    std::vector<platform::VlanTimeRun> withdrawn;  ///< neighbours withdrew them last
    std::vector<platform::VlanTimeRun> learnt;     ///< since when they are on the port
    std::vector<platform::NeighbourRecord> neighbours;
    u32 maxVlans = 0;  ///< 0: no limit
    platform::PortHistoryRecord history{platform::kNever, platform::kNever, platform::kNever};
};

struct SnapshotFacts {
    u64 takenMs = 0;                   ///< since the epoch
    std::optional<u64> nextApplyMs{};  ///< until pending memberships are applied next
    GlobalView global;
    platform::LossesRecord losses{};
    std::string configFile;  ///< empty: none
    platform::VlanBitmap staticVlans{};
    platform::VlanBitmap learntVlans{};
    std::vector<PortSnapshot> ports;  ///< ascending by unit

    std::string hostName;
    std::optional<platform::SystemFacts> system;  ///< on a Linux bridge
    std::string lldp;  ///< what lldpcli printed; empty: it is not there, or lldpd does not run
};

/// What the daemon knows: one request. Throws as queries.h says.
SnapshotFacts querySnapshot(Client& client);
/// The sections of an answer. Those that are not known, or too short, are passed over.
SnapshotFacts readSnapshot(std::span<const std::byte> answer);

/// What lldpd knows of neighbours, as `lldpcli -f json0 show neighbors` prints it; empty when that
/// does not end well within two seconds.
std::string askLldp();

/// Why VLANs that a neighbour declares did not come onto the port.
struct RefusedVlans {
    const char* reason;  ///< a key of failedByReason in `show statistics`
    platform::VlanBitmap vlans{};
};

/// VLANs that were declared on the port and not withdrawn, as far as the last LeaveAlls tell: one
/// that was declared longer ago than two LeaveAlls take is not declared any more.
platform::VlanBitmap heardVlans(const PortSnapshot& port);
/// @param staticVlans  of the switch
std::vector<RefusedVlans> refusedVlans(const PortSnapshot& port,
                                       const platform::VlanBitmap& staticVlans);

std::string snapshotJson(const SnapshotFacts& facts);

}  // namespace cli
