// SPDX-License-Identifier: MIT
//
// Ports and bridges that come and go, links, and the spanning tree.
#include <algorithm>

#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

class LinuxPorts : public ::testing::Test {
  protected:
    void SetUp() override {
        node.start();
        node.enable(kEth0);
        ASSERT_TRUE(node.learn(kEth0, vlanSet({20, 21})));
        node.settle();
        node.portsChanged = 0;
    }
    u32 generation(u32 unit) {
        for (const LinuxPortFacts& facts : node.driver->ports())
            if (facts.unit == unit)
                return facts.generation;
        return 0;
    }

    const std::vector<Message> cameBack = {linkMessage(kEth0, false), linkMessage(kEth0, true)};
    LinuxNode node;
};

TEST_F(LinuxPorts, APortThatAppearsLaterIsAUnit) {
    node.kernel.addLink(kTap, "tap0");
    EXPECT_TRUE(node.settle().empty()) << "an interface that is no port";
    node.kernel.enslave(kTap, kBridge);
    const auto messages = node.settle();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].index, kTap);
    EXPECT_EQ(messages[0].changeMask, 0xFFFFFFFF);
    EXPECT_EQ(node.portsChanged, 1U);
    node.enable(kTap);
    EXPECT_TRUE(node.learn(kTap, vlanSet({30})));
    EXPECT_EQ(node.carried(kTap), "1,30");
}

TEST_F(LinuxPorts, TheDaemonPlansForEthernetsMtuAtLeast) {
    node.kernel.setMtu(kEth0, 576);
    EXPECT_TRUE(node.settle().empty()) << "nothing that the daemon is told";
    PortState state{};
    ASSERT_TRUE(node.driver->portState(kEth0, state));
    EXPECT_EQ(state.mtu, 1500U);
    EXPECT_EQ(node.driver->listPorts(0, 1)[0].state.mtu, 576U) << "what is shown";
    node.kernel.setMtu(kEth0, 9000);
    node.settle();
    ASSERT_TRUE(node.driver->portState(kEth0, state));
    EXPECT_EQ(state.mtu, 9000U);
}

TEST_F(LinuxPorts, AnIndexThatIsNoUnitIsLeftOut) {
    node.kernel.addLink(kVlanInterfaceBase + 5, "far");
    node.kernel.enslave(kVlanInterfaceBase + 5, kBridge);
    EXPECT_TRUE(node.settle().empty());
    EXPECT_EQ(node.driver->ports().size(), 2U);
}

TEST_F(LinuxPorts, ADeletedPortIsReportedAndLeavesNothing) {
    node.kernel.deleteLink(kEth0);
    const std::vector<Message> messages = {
        {0x21, kEth0, 0, 0, 0, 0}, vlanDeleted(20), vlanDeleted(21)};
    EXPECT_EQ(node.settle(), messages);
    EXPECT_EQ(node.portsChanged, 1U);
    EXPECT_TRUE(node.driver->setProtocol(kEth0, kProtocolMvrp, false)) << "it runs nothing";
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, {}));
    EXPECT_FALSE(node.driver->setProtocol(kEth0, kProtocolMvrp, true));
    node.kernel.addLink(kEth0, "eth0");
    node.kernel.enslave(kEth0, kBridge);
    node.kernel.addVlans(kEth0, vlanSet({20}));
    node.settle();
    EXPECT_EQ(node.dynamic(kEth0), "-");
    EXPECT_EQ(node.type(20), kStaticType) << "the ledger of its predecessor is not its own";
}

TEST_F(LinuxPorts, AVlanThatAnotherPortIsAMemberOfOutlivesThePort) {
    node.enable(kEth1);
    ASSERT_TRUE(node.learn(kEth1, vlanSet({21})));
    node.kernel.deleteLink(kEth0);
    const std::vector<Message> messages = {{0x21, kEth0, 0, 0, 0, 0}, vlanDeleted(20)};
    EXPECT_EQ(node.settle(), messages);
    EXPECT_EQ(node.type(21), kDynamicType);
    EXPECT_EQ(node.carried(kEth1), "1,21");
}

/// VLAN 30 is registered at eth0, which does not permit it: no port is a member of it.
class LinuxNotPermitted : public LinuxPorts {
  protected:
    void SetUp() override {
        LinuxPorts::SetUp();
        LinuxBridgeConfig next = node.config;
        LinuxPortRule rule;
        rule.pattern = "eth0";
        rule.permit = vlanRange(1, 25);
        next.rules = {rule};
        node.driver->reconfigure(next);
        node.log.take();
        ASSERT_TRUE(node.driver->createDynamic(vlanSet({30})));
    }
};

TEST_F(LinuxNotPermitted, WhatADeletedPortHadRegisteredIsGoneWithIt) {
    node.kernel.deleteLink(kEth0);
    const std::vector<Message> messages = node.settle();
    const auto isTold = [&messages](const Message& message) {
        return std::ranges::find(messages, message) != messages.end();
    };
    EXPECT_TRUE(isTold(vlanDeleted(20)) && isTold(vlanDeleted(21)));
    EXPECT_TRUE(isTold(vlanDeleted(30)));
    EXPECT_TRUE(isTold(vlanDeleted(40))) << "which the switch has never heard of";
    EXPECT_FALSE(isTold(vlanDeleted(22))) << "permitted, and nobody was a member";
    QorIndexInfo info{};
    EXPECT_TRUE(node.driver->describeIndex(kVlanInterfaceBase + 40, info));
    EXPECT_EQ(info.vid, 40U);
}

TEST_F(LinuxNotPermitted, WhatAPortHadRegisteredThatIsTakenOutIsGoneWithIt) {
    node.kernel.release(kEth0);
    node.settle();
    EXPECT_EQ(node.type(30), 0U);
}

TEST_F(LinuxNotPermitted, WhatAnotherPortIsAMemberOfStays) {
    node.enable(kEth1);
    ASSERT_TRUE(node.learn(kEth1, vlanSet({30})));
    node.kernel.deleteLink(kEth0);
    node.settle();
    EXPECT_EQ(node.type(30), kDynamicType);
}

TEST_F(LinuxNotPermitted, WhereThePermitListBarsRegistrationsItWasNotRegisteredThere) {
    node.driver->setAdmission(true);
    node.kernel.deleteLink(kEth0);
    node.settle();
    EXPECT_EQ(node.type(30), kDynamicType) << "somebody is about to become a member";
}

TEST_F(LinuxNotPermitted, APortThatTookNoPartHadRegisteredNothing) {
    node.kernel.addLink(kTap, "eth0.1");
    node.kernel.enslave(kTap, kBridge);
    LinuxBridgeConfig next = node.config;
    LinuxPortRule rule;
    rule.pattern = "eth0.1";
    rule.permit = vlanRange(1, 25);
    next.rules = {rule};
    node.driver->reconfigure(next);
    node.settle();
    node.kernel.deleteLink(kTap);
    node.settle();
    EXPECT_EQ(node.type(30), kDynamicType);
}

TEST_F(LinuxPorts, APortTakenOutKeepsNoGuard) {
    node.kernel.release(kEth0);
    node.settle();
    EXPECT_FALSE(node.kernel.guarded(kEth0));
}

TEST_F(LinuxPorts, ARenameIsNothingForTheDaemon) {
    const u32 before = generation(kEth0);
    node.kernel.rename(kEth0, "uplink");
    EXPECT_TRUE(node.settle().empty());
    EXPECT_EQ(node.portsChanged, 1U);
    EXPECT_EQ(generation(kEth0), before);
    std::string name;
    ASSERT_TRUE(node.driver->portName(kEth0, name));
    EXPECT_EQ(name, "uplink");
    EXPECT_EQ(node.carried(kEth0), "1,20-21");
    node.start();
    EXPECT_EQ(node.dynamic(kEth0), "20-21") << "the ledger followed the name";
}

TEST_F(LinuxPorts, ARenameIsMatchedAgainstThePermitLists) {
    LinuxBridgeConfig next = node.config;
    LinuxPortRule rule;
    rule.pattern = "uplink";
    rule.permit = vlanRange(1, 5);
    next.rules = {rule};
    node.driver->reconfigure(next);
    EXPECT_TRUE(node.driver->permits(kEth0, 20));
    node.kernel.rename(kEth0, "uplink");
    node.settle();
    EXPECT_FALSE(node.driver->permits(kEth0, 20));
}

TEST_F(LinuxPorts, APortTakenOutAndPutBackAtOnceGetsItsVlansAgain) {
    const u32 before = generation(kEth0);
    node.kernel.release(kEth0);
    node.kernel.enslave(kEth0, kBridge);
    EXPECT_EQ(node.kernel.vlansOf(kEth0).carried, vlanSet({1}));
    EXPECT_EQ(node.settle(), cameBack);
    EXPECT_EQ(node.carried(kEth0), "1,20-21");
    EXPECT_EQ(generation(kEth0), before);
}

TEST_F(LinuxPorts, APortPutBackLaterIsAnotherPort) {
    const u32 before = generation(kEth0);
    node.kernel.release(kEth0);
    node.settle();
    node.kernel.enslave(kEth0, kBridge);
    node.settle();
    EXPECT_NE(generation(kEth0), before);
    EXPECT_EQ(node.dynamic(kEth0), "-");
    EXPECT_EQ(node.carried(kEth0), "1");
    EXPECT_FALSE(node.driver->framePolicy(kEth0).takesPart());
}

TEST_F(LinuxPorts, AnInterfaceMadeAnewUnderItsIndexIsAnotherPort) {
    const u32 before = generation(kEth0);
    node.kernel.deleteLink(kEth0);
    node.kernel.addLink(kEth0, "eth0");
    node.kernel.enslave(kEth0, kBridge);
    const std::vector<Message> messages = {{0x21, kEth0, 0, 0, 0, 0},
                                           {0x20, kEth0, 0xFFFFFFFF, 0, 0, 0},
                                           vlanDeleted(20),
                                           vlanDeleted(21)};
    EXPECT_EQ(node.settle(), messages);
    EXPECT_NE(generation(kEth0), before);
    EXPECT_EQ(node.dynamic(kEth0), "-");
    EXPECT_FALSE(node.driver->framePolicy(kEth0).takesPart());
}

TEST_F(LinuxPorts, ABondIsAnAggregationAndAPortThatGoesIntoItJoinsIt) {
    constexpr u32 kBond = 9;
    node.kernel.addLink(kBond, "bond0", LinkKind::Bond);
    node.kernel.enslave(kBond, kBridge);
    node.settle();
    QorIndexInfo info{};
    ASSERT_TRUE(node.driver->describeIndex(kBond, info));
    EXPECT_EQ(info.endType, static_cast<u32>(QorEndType::Aggregation));
    EXPECT_EQ(node.driver->egressPort(kBond), kBond);
    PortState state{};
    ASSERT_TRUE(node.driver->portState(kBond, state));
    EXPECT_TRUE(state.eligible);

    node.kernel.release(kEth0);
    node.kernel.enslave(kEth0, kBond);
    const auto messages = node.settle();
    ASSERT_EQ(messages.size(), 4U) << "and VLANs 20 and 21";
    EXPECT_EQ(messages[0].index, kEth0);
    EXPECT_EQ(messages[0].attribute, 52U);
    EXPECT_EQ(messages[0].value, kBond);
    EXPECT_EQ(messages[1].type, 0x21U);
    EXPECT_EQ(node.driver->ports().size(), 2U) << "eth1 and the bond";
}

TEST_F(LinuxPorts, ALinkThatComesBackIsReportedAsDownAndUpOnceMore) {
    node.kernel.setUp(kEth0, false);
    EXPECT_EQ(node.settle(), std::vector<Message>{linkMessage(kEth0, false)});
    EXPECT_EQ(node.driver->egressPort(kEth0), 0U);
    EXPECT_FALSE(node.driver->framePolicy(kEth0).linkUp);
    EXPECT_EQ(node.carried(kEth0), "1,20-21") << "a link that is down keeps its VLANs";
    node.kernel.setUp(kEth0, true);
    EXPECT_EQ(node.settle(), cameBack);
}

TEST_F(LinuxPorts, ALinkThatWasDownForAMomentIsReportedToo) {
    node.kernel.setUp(kEth0, false);
    node.kernel.setUp(kEth0, true);
    EXPECT_EQ(node.settle(), cameBack);
    EXPECT_TRUE(node.settle().empty());
}

TEST_F(LinuxPorts, APortThatDoesNotForwardIsDown) {
    for (const StpState state :
         {StpState::Disabled, StpState::Listening, StpState::Learning, StpState::Blocking}) {
        node.kernel.setStp(kEth0, state);
        EXPECT_EQ(node.settle(), std::vector<Message>{linkMessage(kEth0, false)});
        EXPECT_FALSE(node.linkUp(kEth0));
        EXPECT_FALSE(node.driver->framePolicy(kEth0).linkUp);
        EXPECT_EQ(node.driver->egressPort(kEth0), 0U);
        node.kernel.setStp(kEth0, StpState::Forwarding);
        EXPECT_EQ(node.settle(), cameBack);
        EXPECT_TRUE(node.linkUp(kEth0));
    }
}

TEST_F(LinuxPorts, WithoutVlanFilteringNoPortTakesPart) {
    node.driver->removeUnclaimed();
    node.kernel.setFiltering(kBridge, false);
    const std::vector<Message> down = {linkMessage(kEth0, false), linkMessage(kEth1, false)};
    EXPECT_EQ(node.settle(), down);
    EXPECT_FALSE(node.driver->framePolicy(kEth0).linkUp);
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    node.kernel.setFiltering(kBridge, true);
    EXPECT_EQ(node.settle().size(), 4U);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    EXPECT_EQ(node.carried(kEth0), "1,20-21");
}

TEST_F(LinuxPorts, WithMultipleSpanningTreesThePortsTakeNoPartUntilThereIsOneAgain) {
    node.driver->removeUnclaimed();  // from here on, no guard may be an earlier daemon's
    node.kernel.setMultipleTrees(kBridge, true);
    const std::vector<Message> down = {linkMessage(kEth0, false), linkMessage(kEth1, false)};
    EXPECT_EQ(node.settle(), down);
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    node.kernel.setMultipleTrees(kBridge, false);
    EXPECT_EQ(node.settle().size(), 4U);
    EXPECT_TRUE(node.kernel.guarded(kEth0));
}

TEST_F(LinuxPorts, ABridgeMadeAgainIsAnotherBridge) {
    node.kernel.addVlans(kBridge, vlanSet({40}));
    node.settle();
    node.kernel.deleteLink(kBridge);
    const std::vector<Message> gone = {
        {0x21, kEth0, 0, 0, 0, 0}, {0x21, kEth1, 0, 0, 0, 0}, vlanDeleted(1),
        vlanDeleted(20),           vlanDeleted(21),           vlanDeleted(40)};
    EXPECT_EQ(node.settle(), gone);
    EXPECT_TRUE(node.driver->ports().empty());
    constexpr u32 kAgain = 11;
    node.kernel.addBridge(kAgain, "br0");
    node.kernel.enslave(kEth0, kAgain);
    node.kernel.addVlans(kEth0, vlanSet({20}));
    node.settle();
    EXPECT_EQ(node.driver->ports().size(), 1U);
    node.driver->stop(Ending::Stop);
    EXPECT_EQ(node.carried(kEth0), "1,20") << "nothing there is the daemon's";
}

TEST_F(LinuxPorts, ABridgeMadeAgainBeforeAnybodyLookedIsAnotherBridgeToo) {
    node.kernel.deleteLink(kBridge);
    constexpr u32 kAgain = 11;
    node.kernel.addBridge(kAgain, "br0");
    node.kernel.enslave(kEth0, kAgain);
    node.settle();
    EXPECT_EQ(node.dynamic(kEth0), "-");
    EXPECT_FALSE(node.driver->framePolicy(kEth0).takesPart());
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxPorts, AnotherBridgesPortsAreNobodysBusiness) {
    node.kernel.addBridge(12, "br1");
    node.kernel.addLink(13, "eth9");
    node.kernel.enslave(13, 12);
    node.kernel.addVlans(13, vlanSet({99}));
    EXPECT_TRUE(node.settle().empty());
    EXPECT_EQ(node.type(99), 0U);
}

}  // namespace
}  // namespace platform::testing
