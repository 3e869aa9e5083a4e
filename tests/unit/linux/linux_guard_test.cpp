// SPDX-License-Identifier: MIT
//
// The guard when others take it away.
#include <algorithm>

#include "platform/runtime/tasks/timer.h"
#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

class LinuxGuard : public ::testing::Test {
  protected:
    void SetUp() override {
        node.start();
        node.driver->removeUnclaimed();  // from here on, no guard may be an earlier daemon's
        node.enable(kEth0);
        node.settle();
    }
    PortSummary summary(u32 port) const { return node.driver->listPorts(port - 1, 1).at(0); }
    u32 lost(u32 port) const { return summary(port).guardLost; }

    LinuxNode node;
};

TEST_F(LinuxGuard, ThatOthersRemoveIsPutBackAndCounted) {
    for (const u32 port : {kEth0, kEth1}) {
        node.kernel.removeGuard(port);
        ::testing::internal::CaptureStderr();
        node.settle();
        const std::string log = ::testing::internal::GetCapturedStderr();
        EXPECT_NE(log.find("others removed the guard"), std::string::npos) << log;
        EXPECT_TRUE(node.kernel.guarded(port)) << port;
        EXPECT_EQ(lost(port), 1U);
        EXPECT_EQ(summary(port).guardDisputedUntilMs, 0U);
    }
}

TEST_F(LinuxGuard, WhatTheDriverItselfDidIsNoReasonToLook) {
    node.disable(kEth0);
    node.enable(kEth0);
    const u32 before = node.kernel.reads;
    node.settle();
    EXPECT_EQ(node.kernel.reads, before);
    EXPECT_EQ(lost(kEth0), 0U);
}

TEST_F(LinuxGuard, WhoseLossNobodyToldIsPutBackByTheNextLook) {
    node.kernel.removeGuard(kEth0);
    node.kernel.dropEvents();
    node.kernel.addVlans(kEth1, vlanSet({30}));
    node.settle();
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    EXPECT_EQ(lost(kEth0), 1U);
    node.kernel.removeGuard(kEth1);
    node.kernel.loseEvents();
    node.settle();
    EXPECT_TRUE(node.kernel.guarded(kEth1)) << "notifications were lost";
}

TEST_F(LinuxGuard, ThatIsNotWantedMayGo) {
    node.disable(kEth0);
    node.settle();
    node.kernel.removeGuard(kEth0);
    node.settle();
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    EXPECT_EQ(lost(kEth0), 0U);
}

TEST_F(LinuxGuard, ThatOthersRemoveAgainAndAgainIsPutBackLaterAndLaterAndThatIsSaid) {
    ::testing::internal::CaptureStderr();
    const u32 before = node.kernel.guardChanges;
    constexpr u32 kSeconds = 100;
    for (u32 tenth = 0; tenth < kSeconds * 10; tenth++) {
        if (node.kernel.guarded(kEth0))
            node.kernel.removeGuard(kEth0);
        node.settleAfter(100);
    }
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_LT(node.kernel.guardChanges - before, 15U) << "and not " << kSeconds * 10;
    EXPECT_NE(log.find("others remove the guard again and again"), std::string::npos) << log;
    EXPECT_GT(lost(kEth0), 5U);
    EXPECT_GT(summary(kEth0).guardDisputedUntilMs, node.nowMs);
    EXPECT_TRUE(node.kernel.guarded(kEth1)) << "the other port is left alone";
    // Whoever it was has gone.
    node.settleAfter(kLongestDisputeMs);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    // A long time after it a single removal is made good at once.
    node.settleAfter(400'000);
    EXPECT_LT(summary(kEth0).guardDisputedUntilMs, node.nowMs);
    node.kernel.removeGuard(kEth0);
    node.settle();
    EXPECT_TRUE(node.kernel.guarded(kEth0));
}

TEST_F(LinuxGuard, ThatFoundNoPlaceIsSetWhenTheFiltersChange) {
    node.kernel.failGuards(true);
    node.kernel.removeGuard(kEth0);
    ::testing::internal::CaptureStderr();
    node.settle();
    node.kernel.tellGuard(kEth0);
    node.settle();
    const std::string log = ::testing::internal::GetCapturedStderr();
    const std::string said = "can not be kept from forwarding";
    EXPECT_NE(log.find(said), std::string::npos) << log;
    EXPECT_EQ(log.find(said), log.rfind(said)) << "once: " << log;
    node.kernel.failGuards(false);
    node.kernel.tellGuard(kEth0);
    node.settle();
    EXPECT_TRUE(node.kernel.guarded(kEth0));
}

}  // namespace
}  // namespace platform::testing
