// SPDX-License-Identifier: MIT
//
// A daemon that was started on the scenario host, for tests that call into it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/virtual/state/host.h"

class StartedDaemon : public testing::Test {
  protected:
    StartedDaemon() {
        scenario::bindScenarioHost(&host_);
        scenario::startDaemon(host_);
        trace_.clear();
    }
    ~StartedDaemon() override {
        scenario::resetDaemon(host_);
        scenario::bindScenarioHost(nullptr);
    }
    StartedDaemon(const StartedDaemon&) = delete;
    StartedDaemon& operator=(const StartedDaemon&) = delete;
    StartedDaemon(StartedDaemon&&) = delete;
    StartedDaemon& operator=(StartedDaemon&&) = delete;

    std::string trace_;  ///< what the daemon asked of the platform since the start
    scenario::ScenarioHost host_{[this](std::string_view line) { trace_ += line; }};
};
