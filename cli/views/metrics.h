// SPDX-License-Identifier: MIT
//
// Everything that is counted, in the text format of OpenMetrics 1.0.
#pragma once

#include <string>
#include <vector>

#include "cli/views/statistics.h"

namespace cli {

/// @param vlans, statistics  of the same ports in the same order
std::string metricsText(const GlobalView& global, const VlansView& vlans,
                        const std::vector<PortStatistics>& statistics);

}  // namespace cli
