// SPDX-License-Identifier: MIT
//
// Propagation while the port table is empty. No scenario can ask for it: there the source of a
// propagation is always a port of the table.
#include "daemon/base/info.h"
#include "daemon/db/port.h"
#include "daemon/map/propagate.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

class NoPort : public StartedDaemon {
  protected:
    NoPort() {
        gMvrpInfo.debug = 0xFF;
        source_.portunit = 3;
    }

    bool wrote(const std::string& text) const { return trace_.find(text) != std::string::npos; }

    MvrpPortEntry source_{};
};

TEST_F(NoPort, PropagateJoinWritesThatNoPortRunsMvrp) {
    mvrpMapPropagateJoin(10, &source_);
    EXPECT_TRUE(wrote("\"Propagate join; no port enable mvrp\\r\\n\"")) << trace_;
}

TEST_F(NoPort, PropagateJoinsWritesItForEachVlan) {
    MvrpVlanBitmap vlans{};
    mvrpBitSet(vlans.data(), 9);
    mvrpBitSet(vlans.data(), 10);
    mvrpMapPropagateJoins(vlans, &source_);
    const std::string line = "\"Propagate join; no port enable mvrp\\r\\n\"";
    const auto first = trace_.find(line);
    ASSERT_NE(first, std::string::npos) << trace_;
    EXPECT_NE(trace_.find(line, first + 1), std::string::npos) << trace_;
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
