// SPDX-License-Identifier: MIT
//
// Questions about what the host has observed: statistics, and who declared what and when.
//
// Errors as those of queries.h.
#pragma once

#include <vector>

#include "cli/client/queries.h"
#include "platform/channel/observations.h"

namespace cli {

struct PortStatistics {
    platform::SwitchPortRecord port{};
    platform::PortStatisticsRecord record{};
};

std::vector<PortStatistics> queryStatistics(Client& client,
                                            const std::vector<platform::SwitchPortRecord>& ports);

struct VlanHistory {
    platform::PortHistoryRecord port{};
    platform::VlanHistoryRecord vlan{};
};

/// What each of these ports heard and said about one VLAN.
std::vector<VlanHistory> queryVlanHistory(Client& client, u32 vid,
                                          const std::vector<platform::SwitchPortRecord>& ports);

/// Whether a LeaveAll, received or sent, asked for the VLAN and it was not said again since. An
/// active declaration is said again within a join time, ms; what is static is not, under GVRP
/// without the correction gvrp-static-renewed.
bool wasNotRenewed(const VlanHistory& history, u32 joinTime);

/// Which correction last decided for one VLAN on each of these ports; kNoCorrection where none is
/// known, as of a daemon without corrections.
std::vector<platform::CorrectionLastRecord> queryLastCorrections(
    Client& client, u32 vid, const std::vector<platform::SwitchPortRecord>& ports);

/// A record as the value of a request.
template <typename Record>
std::vector<std::byte> valueOfRecord(const Record& record) {
    const auto bytes = std::as_bytes(std::span(&record, 1));
    return {bytes.begin(), bytes.end()};
}

/// Throws what a refusal means for a person; nothing when there is none.
void throwIfRefused(const Reply& reply);

}  // namespace cli
