// SPDX-License-Identifier: MIT
//
// Propagation while the port table is empty. No scenario can ask for it: there the source of a
// propagation is always a port of the table.
#include <gtest/gtest.h>

#include <string>

#include "daemon/core/info.h"
#include "daemon/db/port.h"
#include "daemon/map/propagate.h"
#include "tests/scenario/host/host.h"

namespace {

class NoPort : public testing::Test {
  protected:
    NoPort() {
        scenario::bindScenarioHost(&host_);
        scenario::startDaemon(host_);
        gMvrpInfo.debug = 0xFF;
        source_.portunit = 3;
        trace_.clear();
    }
    ~NoPort() override {
        scenario::resetDaemon(host_);
        scenario::bindScenarioHost(nullptr);
    }
    NoPort(const NoPort&) = delete;
    NoPort& operator=(const NoPort&) = delete;

    bool wrote(const std::string& text) const { return trace_.find(text) != std::string::npos; }

    std::string trace_;
    scenario::ScenarioHost host_{[this](std::string_view line) { trace_ += line; }};
    MvrpPortEntry source_{};
};

TEST_F(NoPort, PropagateJoinWritesThatNoPortRunsMvrp) {
    mvrpMapPropagateJoin(10, &source_);
    EXPECT_TRUE(wrote("\"Propagate join; no port enable mvrp\\r\\n\"")) << trace_;
}

TEST_F(NoPort, SendingOfJoinsWritesThatNoPortRunsMvrp) {
    mvrpMapPropagateJoinMsgSend(&source_);
    EXPECT_TRUE(wrote("\"Propagate join msg send; no port enable mvrp\\r\\n\"")) << trace_;
}

TEST_F(NoPort, PropagateLeaveWritesThatNoPortRunsMvrp) {
    mvrpMapPropagateLeave(10, &source_);
    EXPECT_TRUE(wrote("\"propagate leave; no port enable mvrp\\r\\n\"")) << trace_;
}

TEST_F(NoPort, ClearPropagationWritesThatNoPortRunsMvrp) {
    mvrpClrPropagate(10, &source_);
    EXPECT_TRUE(wrote("\"clr propagate; no port enable mvrp\\r\\n\"")) << trace_;
}

TEST_F(NoPort, SendingOfLeavesWritesNothing) {
    mvrpMapPropagateLeaveMsgSend(&source_);
    EXPECT_EQ(trace_, "");
}

}  // namespace
