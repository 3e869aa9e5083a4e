// SPDX-License-Identifier: MIT
//
// Everything that is counted, as text for a monitoring system.
//
// Errors of the questions are those of cli/client/queries.h.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/views/statistics.h"

namespace cli {

/// The two text formats of Prometheus. They differ in how counters are named in comments, and in
/// the end of the text.
enum class MetricsFormat {
    Text,         ///< exposition format 0.0.4, which `promtool check metrics` and collectors read
    OpenMetrics,  ///< OpenMetrics 1.0
};

struct MetricsView {
    GlobalView global;
    VlansView vlans;
    std::vector<PortStatistics> statistics;        ///< of the ports of `vlans`, in their order
    std::optional<platform::LossesRecord> losses;  ///< nothing from a daemon that does not tell
};

/// Of all ports.
MetricsView queryMetrics(Client& client);

std::string metricsText(const MetricsView& view, MetricsFormat format);

}  // namespace cli
