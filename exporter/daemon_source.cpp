// SPDX-License-Identifier: MIT
#include "exporter/daemon_source.h"

#include <stdexcept>

namespace exporter {

using std::chrono::steady_clock;

Answer DaemonSource::answer(cli::MetricsFormat format) {
    if (!asked_ || steady_clock::now() - *asked_ > kKept)
        ask();
    if (!view_)
        return {false, "the daemon did not answer: " + failure_ + "\n"};
    return {true, cli::metricsText(*view_, format)};
}

void DaemonSource::ask() {
    view_.reset();
    try {
        cli::Client client(socket_);
        client.setPatience(static_cast<u32>(kPatience.count()));
        view_ = cli::queryMetrics(client);
    } catch (const std::runtime_error& error) {  // ConnectionError, RefusedError
        failure_ = error.what();
    }
    asked_ = steady_clock::now();
}

}  // namespace exporter
