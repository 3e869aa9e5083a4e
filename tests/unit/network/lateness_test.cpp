// SPDX-License-Identifier: MIT
//
// Timers of simulated switches run as late as those of a daemon do that waits for them.
#include <gtest/gtest.h>

#include "platform/virtual/network/network.h"
#include "platform/virtual/network/platform_events.h"

namespace simulation {
namespace {

class Lateness : public ::testing::Test {
  protected:
    Lateness() {
        node.host.switchState.addPort(1);
        network.act(0, [this] { startDaemonOf(node); });
    }
    /// How long the protocol task waits when what is pending is applied so late.
    u64 waitOfTaskMs(u32 dueInMs) {
        const Turn turn(node, network.nowMs());
        setApplyIn(dueInMs);
        const u64 beforeMs = node.host.nowMs;
        mvrpTaskPass(&node.host.task);
        return node.host.nowMs - beforeMs;
    }
    u64 waitInNetworkMs(u32 dueInMs) {
        network.act(0, [dueInMs] { setApplyIn(dueInMs); });
        return *node.wakeMs - network.nowMs();
    }

    Network network{1};
    Node& node = network.addNode();
};

TEST_F(Lateness, IsNoneByDefault) {
    EXPECT_EQ(waitInNetworkMs(5), 5U);
    EXPECT_EQ(waitInNetworkMs(1000), 1000U);
}

TEST_F(Lateness, IsThatOfTheProtocolTask) {
    network.setLateness({kRealLateness.leastWaitMs, 0});
    for (const u32 ms : {0U, 5U, 16U, 17U, 100U, 999U, 1000U, 1016U, 1017U}) {
        EXPECT_EQ(waitInNetworkMs(ms), waitOfTaskMs(ms)) << ms;
    }
}

TEST_F(Lateness, IsALittleMoreByChance) {
    network.setLateness({0, 1});
    u64 sum = 0;
    for (int i = 0; i < 100; ++i)
        sum += waitInNetworkMs(50) - 50;
    EXPECT_GT(sum, 20U);
    EXPECT_LT(sum, 80U);
}

}  // namespace
}  // namespace simulation
