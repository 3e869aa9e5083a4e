// SPDX-License-Identifier: MIT
//
// The driver's contract, its start and end, the guard, and what the kernel refuses.
#include <cerrno>

#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

class LinuxHarness final : public DriverHarness {
  public:
    LinuxHarness() { node_.start(); }
    SwitchDriver& driver() override { return *node_.driver; }
    u32 firstPort() const override { return kEth0; }
    u32 secondPort() const override { return kEth1; }
    u32 missingPort() const override { return 4; }
    void createStaticVlans(const VlanBitmap& vlans) override {
        node_.kernel.addVlans(kBridge, vlans);
        node_.driver->handleEvents();
    }
    void deleteVlans(const VlanBitmap& vlans) override {
        node_.kernel.removeVlans(kBridge, vlans);
        node_.driver->handleEvents();
    }
    void setLink(u32 port, bool up) override {
        node_.kernel.setUp(port, up);
        node_.driver->handleEvents();
    }

  private:
    LinuxNode node_;
};

std::unique_ptr<DriverHarness> makeLinuxHarness() {
    return std::make_unique<LinuxHarness>();
}

INSTANTIATE_TEST_SUITE_P(LinuxSwitch, DriverContract, ::testing::Values(&makeLinuxHarness));

class LinuxSwitchTest : public ::testing::Test {
  protected:
    LinuxNode node;
};

TEST_F(LinuxSwitchTest, ABridgeWithMultipleSpanningTreesIsWaitedForToHaveOne) {
    node.kernel.setMultipleTrees(kBridge, true);
    node.start();
    EXPECT_EQ(node.driver->awaited(), "br0 to have one spanning tree");
    EXPECT_FALSE(node.linkUp(kEth0));
    node.kernel.setMultipleTrees(kBridge, false);
    node.settle();
    EXPECT_EQ(node.driver->awaited(), "");
    EXPECT_TRUE(node.linkUp(kEth0));
}

TEST_F(LinuxSwitchTest, ABridgeThatIsNotThereAtTheStartIsTakenWhenItComes) {
    node.config.bridge = "br7";
    node.start();
    EXPECT_EQ(node.driver->awaited(), "br7");
    EXPECT_TRUE(node.driver->ports().empty());
    EXPECT_TRUE(node.settle().empty());
    constexpr u32 kLate = 9;
    node.kernel.addBridge(kLate, "br7");
    node.kernel.addLink(kTap, "tap0");
    node.kernel.enslave(kTap, kLate);
    node.settle();
    EXPECT_EQ(node.driver->awaited(), "");
    ASSERT_EQ(node.driver->ports().size(), 1U);
    EXPECT_EQ(node.portsChanged, 1U);
    node.enable(kTap);
    ASSERT_TRUE(node.learn(kTap, vlanSet({20})));
    EXPECT_EQ(node.carried(kTap), "1,20");
    node.start();
    EXPECT_EQ(node.dynamic(kTap), "20") << "its ledger is that of the bridge that came";
}

TEST_F(LinuxSwitchTest, TheFirstBridgeOfASystemIsWaitedForWhileNothingAnswersForBridges) {
    for (const u32 port : {kEth0, kEth1})
        node.kernel.release(port);
    node.kernel.deleteLink(kBridge);
    node.kernel.unloadBridges();
    node.start();
    EXPECT_EQ(node.driver->awaited(), "br0");
    constexpr u32 kFirst = 9;
    node.kernel.addBridge(kFirst, "br0");
    node.kernel.enslave(kEth0, kFirst);
    node.settle();
    EXPECT_EQ(node.driver->awaited(), "");
    EXPECT_EQ(node.driver->ports().size(), 1U);
}

TEST_F(LinuxSwitchTest, AKernelThatDoesNotAnswerForItsBridgesIsAnError) {
    node.kernel.unloadBridges();
    EXPECT_NE(node.refusal().find("can not be read"), std::string::npos);
}

TEST_F(LinuxSwitchTest, AnInterfaceOfTheNameThatIsNoBridgeIsNotTaken) {
    node.config.bridge = "eth0";
    node.start();
    EXPECT_EQ(node.driver->awaited(), "eth0");
    EXPECT_TRUE(node.driver->ports().empty());
}

TEST_F(LinuxSwitchTest, WhatIsInTheLedgerOfABridgeThatWentIsNotTakenForThatOfTheNextOne) {
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20})));
    node.kernel.deleteLink(kBridge);
    node.kernel.release(kEth0);
    node.start();
    EXPECT_EQ(node.driver->awaited(), "br0");
    constexpr u32 kAgain = 9;
    node.kernel.addBridge(kAgain, "br0");
    node.kernel.enslave(kEth0, kAgain);
    node.kernel.addVlans(kEth0, vlanSet({20}));
    node.settle();
    EXPECT_EQ(node.type(20), kStaticType) << "others configured it";
    node.start();
    EXPECT_EQ(node.dynamic(kEth0), "-");
}

TEST_F(LinuxSwitchTest, ABridgeIsWaitedForToBecomeVlanAware) {
    node.kernel.setFiltering(kBridge, false);
    node.start();
    EXPECT_EQ(node.driver->awaited(), "br0 to be VLAN-aware");
    EXPECT_FALSE(node.linkUp(kEth0));
    node.kernel.setFiltering(kBridge, true);
    node.settle();
    EXPECT_EQ(node.driver->awaited(), "");
    EXPECT_TRUE(node.linkUp(kEth0));
    node.kernel.deleteLink(kBridge);
    node.settle();
    EXPECT_EQ(node.driver->awaited(), "br0");
}

TEST_F(LinuxSwitchTest, StartIsRefusedWhenTheKernelCanNotBeRead) {
    node.kernel.failReads(1);
    EXPECT_NE(node.refusal().find("injected"), std::string::npos);
}

TEST_F(LinuxSwitchTest, StartIsRefusedWhileAnotherDaemonDrivesTheBridge) {
    node.start();
    LinuxSwitch other(node.kernel, node.config, node.ledger());
    std::string error;
    EXPECT_FALSE(other.start(error));
    EXPECT_NE(error.find("another daemon drives this bridge"), std::string::npos);
}

TEST_F(LinuxSwitchTest, StartAloneChangesNothing) {
    node.kernel.addVlans(kEth0, vlanSet({10}));
    node.start();
    node.settle();
    EXPECT_TRUE(node.kernel.requests.empty());
    EXPECT_FALSE(node.kernel.guarded(kEth0));
}

TEST_F(LinuxSwitchTest, MembershipsReachTheKernelAtOnceAndOnlyWhatIsMissing) {
    node.start();
    node.kernel.addVlans(kEth0, vlanSet({20}));
    node.settle();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanRange(19, 22)));
    ASSERT_EQ(node.kernel.requests.size(), 1U);
    EXPECT_EQ(formatVlanRanges(node.kernel.requests[0].vlans), "19,21-22");
    EXPECT_EQ(node.carried(kEth0), "1,19-22");
    ASSERT_TRUE(node.driver->removeDynamic(kEth0, vlanRange(19, 21)));
    EXPECT_EQ(node.carried(kEth0), "1,20,22") << "VLAN 20 is not the daemon's";
}

TEST_F(LinuxSwitchTest, OwnChangesAreNeitherEchoedNorLookedAt) {
    node.start();
    node.enable(kEth0);
    const u32 reads = node.kernel.reads;
    ASSERT_TRUE(node.learn(kEth0, vlanRange(2, 4094)));
    EXPECT_TRUE(node.settle().empty());
    EXPECT_EQ(node.kernel.reads, reads) << "nothing in the notification was new";
}

TEST_F(LinuxSwitchTest, AChangeThatFailsForAMomentIsFinished) {
    node.start();
    node.enable(kEth0);
    node.kernel.failChanges(1, ENOBUFS);
    EXPECT_TRUE(node.learn(kEth0, vlanRange(10, 19)));
    EXPECT_EQ(node.carried(kEth0), "1,10-19");
    node.kernel.failChanges(1, ENOBUFS);
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanRange(10, 19)));
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxSwitchTest, AnAdditionThatIsRefusedIsTakenBackAsAWhole) {
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({30})));
    node.kernel.failChanges(2, ENOMEM);
    EXPECT_FALSE(node.learn(kEth0, vlanRange(10, 19)));
    EXPECT_EQ(node.dynamic(kEth0), "30");
    EXPECT_GE(node.tryAgain, 1U);
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1,30");
    EXPECT_FALSE(node.driver->hasUnfinished());
}

TEST_F(LinuxSwitchTest, ARemovalThatIsRefusedLeavesTheMemberships) {
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanRange(10, 19)));
    node.kernel.failChanges(2, ENOMEM);
    EXPECT_FALSE(node.driver->removeDynamic(kEth0, vlanRange(10, 19)));
    EXPECT_EQ(node.dynamic(kEth0), "10-19");
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1,10-19");
}

TEST_F(LinuxSwitchTest, APortThatIsGoneBeforeItsNotificationHasNoMemberships) {
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({10})));
    node.kernel.deleteLink(kEth0);
    EXPECT_FALSE(node.learn(kEth0, vlanSet({11})));
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanSet({10}))) << "it is a member of nothing";
    EXPECT_EQ(node.settle().at(0).index, kEth0);
}

TEST_F(LinuxSwitchTest, WhileOnePortTakesPartAllHaveTheGuard) {
    node.start();
    node.enable(kEth0);
    EXPECT_TRUE(node.kernel.guarded(kEth1));
    node.kernel.addLink(kTap, "tap0");
    node.kernel.enslave(kTap, kBridge);
    node.settle();
    EXPECT_TRUE(node.kernel.guarded(kTap)) << "and one that comes later";
    node.driver->removeUnclaimed();
    node.disable(kEth0);
    for (const u32 port : {kEth0, kEth1, kTap})
        EXPECT_FALSE(node.kernel.guarded(port)) << port;
}

TEST_F(LinuxSwitchTest, WhileMvrpIsOnAllPortsHaveTheGuardWhetherOneTakesPartOrNot) {
    node.start();
    node.driver->removeUnclaimed();
    node.driver->setMvrpOn(true);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    EXPECT_TRUE(node.kernel.guarded(kEth1));
    node.enable(kEth0);
    node.disable(kEth0);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    node.driver->setMvrpOn(false);
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    node.driver->setMvrpOn(true);
    node.driver->stop(Ending::Stop);
    EXPECT_FALSE(node.kernel.guarded(kEth0)) << "nothing is left behind";
    EXPECT_FALSE(node.kernel.guarded(kEth1));
}

TEST_F(LinuxSwitchTest, TheGuardIsThereWhileThePortTakesPartWhereThatIsAskedFor) {
    node.config.guard = GuardedPorts::TakingPart;
    node.start();
    node.driver->setMvrpOn(true);
    node.enable(kEth0);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    EXPECT_FALSE(node.kernel.guarded(kEth1));
    EXPECT_TRUE(node.driver->setProtocol(kEth0, kProtocolGvrp, true));
    node.driver->removeUnclaimed();  // from here on, no guard may be an earlier daemon's
    node.disable(kEth0);
    EXPECT_TRUE(node.kernel.guarded(kEth0)) << "GVRP still runs";
    EXPECT_TRUE(node.driver->setProtocol(kEth0, kProtocolGvrp, false));
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    node.enable(kEth0);
    node.driver->setRole(HostRole::Standby);
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    node.driver->setRole(HostRole::Active);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
}

TEST_F(LinuxSwitchTest, AGuardThatIsRefusedDoesNotStopThePortAndIsTriedAgain) {
    node.start();
    node.kernel.failGuards(true);
    node.enable(kEth0);
    EXPECT_TRUE(node.driver->framePolicy(kEth0).takesPart());
    node.kernel.failGuards(false);
    node.kernel.setUp(kEth1, false);
    node.settle();
    EXPECT_TRUE(node.kernel.guarded(kEth0));
}

TEST_F(LinuxSwitchTest, FramesOfOtherPortsAreTheBridgesBusiness) {
    node.start();
    EXPECT_FALSE(node.driver->framePolicy(kEth0).forwarded);
    EXPECT_EQ(node.driver->egressPort(kEth0), kEth0);
}

TEST_F(LinuxSwitchTest, TheEndTakesOutWhatIsTheDaemons) {
    node.start();
    node.kernel.addVlans(kEth1, vlanSet({50}));
    node.settle();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20})));
    EXPECT_EQ(node.carried(kEth0), "1,20,50");
    node.driver->stop(Ending::Stop);
    EXPECT_EQ(node.carried(kEth0), "1");
    EXPECT_EQ(node.carried(kEth1), "1,50");
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    // The daemon's tasks still run.
    EXPECT_TRUE(node.driver->addDynamic(kEth0, vlanSet({20})));
    EXPECT_TRUE(node.driver->setProtocol(kEth0, kProtocolMvrp, false));
    node.driver->handleEvents();
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxSwitchTest, ARestartKeepsAllWhateverIsConfigured) {
    node.config.onStop = OnStop::Remove;
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20})));
    node.driver->stop(Ending::Restart);
    EXPECT_EQ(node.carried(kEth0), "1,20");
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    node.start();
    EXPECT_EQ(node.dynamic(kEth0), "20");
}

TEST_F(LinuxSwitchTest, TheEndKeepsAllWhereThatIsConfigured) {
    node.config.onStop = OnStop::Keep;
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20})));
    node.driver->stop(Ending::Stop);
    EXPECT_EQ(node.carried(kEth0), "1,20");
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    node.start();
    EXPECT_EQ(node.dynamic(kEth0), "20");
}

}  // namespace
}  // namespace platform::testing
