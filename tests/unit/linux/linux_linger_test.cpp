// SPDX-License-Identifier: MIT
//
// How long an entry for a static VLAN stays after the reason for it went.
#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

class LinuxLinger : public ::testing::Test {
  protected:
    void startWith(const LinuxBridgeConfig& config = bridgeConfig()) {
        node.config = config;
        node.kernel.addLink(kTap, "tap0");
        node.kernel.enslave(kTap, kBridge);
        node.start();
        node.enable(kEth0);
        node.kernel.addVlans(kTap, vlanSet({30}));
        node.settle();
        ASSERT_EQ(node.carried(kEth0), "1,30");
    }
    void takeOff() {
        node.kernel.removeVlans(kTap, vlanSet({30}));
        EXPECT_EQ(node.settle(), std::vector<Message>{vlanDeleted(30)})
            << "the daemon hears at once";
    }
    /// Expects the entry to stay for that time, and no longer.
    void expectStaysFor(u32 ms) {
        EXPECT_EQ(node.driver->lingerMs(), ms);
        node.settleAfter(ms - 1);
        EXPECT_EQ(node.carried(kEth0), "1,30");
        node.settleAfter(1);
        EXPECT_EQ(node.carried(kEth0), "1");
        EXPECT_FALSE(node.driver->lingerMs().has_value());
    }

    LinuxNode node;
};

TEST_F(LinuxLinger, AnEntryStaysForASecondAndTwoJoinTimesAtLeast) {
    startWith();
    takeOff();
    expectStaysFor(kLingerMs);
}

TEST_F(LinuxLinger, AnEntryStaysForTheLeaveTimeOfItsPort) {
    startWith();
    node.driver->setTimes(kEth0, 6000, 30000);
    takeOff();
    expectStaysFor(30000);
}

TEST_F(LinuxLinger, ASecondAndTwoJoinTimesCountWhereTheyAreMore) {
    startWith();
    node.driver->setTimes(kEth0, 2000, 4000);
    takeOff();
    expectStaysFor(5000);
}

TEST_F(LinuxLinger, AnEntryStaysAsLongAsIsAskedFor) {
    LinuxBridgeConfig config = bridgeConfig();
    config.lingerMs = 250;
    startWith(config);
    takeOff();
    expectStaysFor(250);
}

TEST_F(LinuxLinger, ZeroIsNoTime) {
    LinuxBridgeConfig config = bridgeConfig();
    config.lingerMs = 0;
    startWith(config);
    takeOff();
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxLinger, WhatANeighbourDeclaresInTimeNeverLeavesThePort) {
    startWith();
    takeOff();
    node.kernel.requests.clear();
    ASSERT_TRUE(node.learn(kEth0, vlanSet({30})));
    node.settleAfter(kLingerMs);
    EXPECT_EQ(node.carried(kEth0), "1,30");
    EXPECT_TRUE(node.kernel.requests.empty()) << "the kernel was asked for nothing";
}

TEST_F(LinuxLinger, WhatWasDeclaredAndWithdrawnGoesAtOnce) {
    startWith();
    takeOff();
    ASSERT_TRUE(node.learn(kEth0, vlanSet({30})));
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanSet({30})));
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxLinger, AVlanThatIsStaticAgainStays) {
    startWith();
    takeOff();
    node.kernel.addVlans(kTap, vlanSet({30}));
    node.settleAfter(kLingerMs);
    EXPECT_EQ(node.carried(kEth0), "1,30");
    takeOff();
    expectStaysFor(kLingerMs);
}

TEST_F(LinuxLinger, EachVlanHasItsOwnTime) {
    startWith();
    node.kernel.addVlans(kTap, vlanSet({31}));
    node.settle();
    takeOff();
    node.nowMs += 1000;
    node.kernel.removeVlans(kTap, vlanSet({31}));
    node.settle();
    EXPECT_EQ(node.driver->lingerMs(), kLingerMs - 1000);
    node.settleAfter(kLingerMs - 1000);
    EXPECT_EQ(node.carried(kEth0), "1,31");
    node.settleAfter(1000);
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxLinger, OfAPortThatIsSwitchedOffNothingLingers) {
    startWith();
    takeOff();
    node.disable(kEth0);
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxLinger, WhatIsNotPermittedAnyMoreDoesNotLinger) {
    startWith();
    node.config.rest.permit = vlanRange(1, 10);
    node.driver->reconfigure(node.config);
    EXPECT_EQ(node.carried(kEth0), "1") << "a join for it would not be admitted";
}

TEST_F(LinuxLinger, WhatOthersWipeIsNotWrittenAgain) {
    startWith();
    takeOff();
    node.kernel.removeVlans(kEth0, vlanSet({30}));
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxLinger, AProcessThatIsKilledMeanwhileLeavesItInTheLedger) {
    startWith();
    takeOff();
    node.start();
    EXPECT_EQ(node.dynamic(kEth0), "30") << "adopted";
    node.enable(kEth0);
    node.driver->removeUnclaimed();
    EXPECT_EQ(node.carried(kEth0), "1");
}

}  // namespace
}  // namespace platform::testing
