// SPDX-License-Identifier: MIT
//
// What a daemon counts, asked over its command channel like any client does. Belongs to one thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "cli/views/metrics.h"

namespace exporter {

/// What is served.
struct Answer {
    bool found = true;  ///< false: `text` says why there are no metrics
    std::string text;
};

class DaemonSource {
  public:
    /// @param socket  of the command channel
    explicit DaemonSource(std::string socket) : socket_(std::move(socket)) {}

    /// Asks the daemon, unless what it answered is younger than kKept: so it is asked no oftener,
    /// however many clients there are. Waits kPatience at most.
    Answer answer(cli::MetricsFormat format);

    static constexpr std::chrono::seconds kKept{1};
    static constexpr std::chrono::seconds kPatience{5};

  private:
    void ask();

    const std::string socket_;
    std::optional<cli::MetricsView> view_;
    std::string failure_;  ///< why there is no `view_`
    std::optional<std::chrono::steady_clock::time_point> asked_;
};

}  // namespace exporter
