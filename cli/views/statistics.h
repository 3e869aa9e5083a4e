// SPDX-License-Identifier: MIT
//
// Statistics of ports, as text.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "cli/client/observed.h"
#include "cli/print/table.h"

namespace cli {

/// Keys of the counters in JSON and metrics, and their words for people, in the order of the arrays
/// of PortStatisticsRecord.
struct CounterName {
    const char* key;
    const char* words;
};
extern const std::array<CounterName, platform::kWireEventCount> kEventNames;
extern const std::array<CounterName, platform::kWireFormCount> kFormNames;
/// Only those that count as malformed; the others are frames that are not ours.
extern const std::array<CounterName, platform::kWireDropCount> kDropNames;
extern const std::array<CounterName, platform::kFailedRegistrationCount> kFailureNames;

/// Whether drops for the reason of this index count as malformed.
bool isMalformed(std::size_t dropReason);

u64 sumOf(std::span<const u64> counters);

std::string statisticsText(const std::vector<PortStatistics>& ports, const Style& style);

}  // namespace cli
