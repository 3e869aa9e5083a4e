// SPDX-License-Identifier: MIT
//
// A kill at any step, and what the next daemon makes of what it finds.
#include "platform/model/vlan_algebra.h"
#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

class LinuxCrash : public ::testing::Test {
  protected:
    /// What a daemon does in its life: learns on one port, carries a static VLAN, forgets a part.
    static void live(LinuxNode& node) {
        node.start();
        node.enable(kEth0);
        node.enable(kEth1);
        node.learn(kEth0, vlanRange(20, 29));
        node.kernel.addVlans(kBridge, vlanSet({50}));
        node.settle();
        node.driver->removeDynamic(kEth0, vlanRange(20, 24));
        node.learn(kEth1, vlanRange(60, 69));
    }
};

TEST_F(LinuxCrash, AKillAtAnyStepLeavesNothingThatTheNextDaemonDoesNotKnow) {
    for (const bool after : {false, true})
        for (u32 step = 1; step <= 5; step++) {
            LinuxNode node;
            node.kernel.addVlans(kEth0, vlanSet({22, 40}));
            node.kernel.killAt(step, after);
            EXPECT_THROW(live(node), Killed) << "step " << step;
            node.kernel.killAt(0, false);
            node.start();
            node.driver->removeUnclaimed();
            EXPECT_EQ(node.carried(kEth0), "1,22,40") << "step " << step << " after " << after;
            EXPECT_EQ(node.carried(kEth1), "1") << "step " << step << " after " << after;
            EXPECT_FALSE(node.kernel.guarded(kEth0));
        }
}

TEST_F(LinuxCrash, MembershipsStayUntilTheirTimeIsOver) {
    LinuxNode node;
    live(node);
    node.kernel.requests.clear();
    node.start();
    EXPECT_EQ(node.dynamic(kEth0), "25-29,50") << "whose it was is found out when it takes part";
    EXPECT_EQ(node.type(25), kDynamicType);
    EXPECT_EQ(node.type(50), kStaticType);
    EXPECT_TRUE(node.kernel.guarded(kEth0)) << "an earlier daemon's guard stays, too";
    node.enable(kEth0);
    node.enable(kEth1);
    node.settle();
    ASSERT_TRUE(node.learn(kEth0, vlanSet({25, 26})));
    EXPECT_TRUE(node.kernel.requests.empty()) << "no traffic is lost";
    EXPECT_EQ(node.driver->removeUnclaimed(), 3U + 10U + 2U);
    EXPECT_EQ(node.carried(kEth0), "1,25-26,50");
    EXPECT_EQ(node.carried(kEth1), "1,50");
    EXPECT_EQ(node.type(27), 0U);
}

TEST_F(LinuxCrash, WhatOthersTookOverWhileTheDaemonWasAwayIsTheirs) {
    LinuxNode node;
    live(node);
    node.driver.reset();
    node.kernel.addUntagged(kEth0, 25, false);
    node.kernel.removeVlans(kEth0, vlanSet({26}));
    node.start();
    EXPECT_EQ(node.type(25), kStaticType);
    node.driver->removeUnclaimed();
    EXPECT_EQ(node.carried(kEth0), "1,25");
}

TEST_F(LinuxCrash, APortOfAnotherNameIsNotTheOneOfTheLedger) {
    LinuxNode node;
    live(node);
    node.driver.reset();
    node.kernel.rename(kEth0, "other");
    node.start();
    EXPECT_EQ(node.dynamic(kEth0), "-");
    node.driver->removeUnclaimed();
    EXPECT_EQ(node.carried(kEth0), "1,25-29,50") << "may be others': it stays";
}

TEST_F(LinuxCrash, AnotherBridgeIsNotTheOneOfTheLedger) {
    LinuxNode node;
    live(node);
    node.driver.reset();
    node.kernel.deleteLink(kBridge);
    node.kernel.addBridge(11, "br0");
    node.kernel.enslave(kEth0, 11);
    node.kernel.addVlans(kEth0, vlanSet({25}));
    node.start();
    node.driver->removeUnclaimed();
    EXPECT_EQ(node.carried(kEth0), "1,25");
}

TEST_F(LinuxCrash, AGuardOfAnEarlierDaemonGoesWhenNobodyNeedsIt) {
    LinuxNode node;
    node.config.guard = GuardedPorts::TakingPart;
    node.kernel.setGuard(kEth0, true);
    node.kernel.setGuard(kEth1, true);
    node.start();
    node.enable(kEth1);
    node.disable(kEth0);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    node.driver->removeUnclaimed();
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    EXPECT_TRUE(node.kernel.guarded(kEth1));
}

}  // namespace
}  // namespace platform::testing
