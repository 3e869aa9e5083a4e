// SPDX-License-Identifier: MIT
//
// Whose a VLAN entry is, and what a port that takes part carries.
#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

class LinuxVlans : public ::testing::Test {
  protected:
    void startWithTap() {
        node.kernel.addLink(kTap, "tap0");
        node.kernel.enslave(kTap, kBridge);
        node.start();
    }
    std::string permitted(u32 port, VlanSet which = VlanSet::Permitted) {
        VlanBitmap vlans{};
        EXPECT_TRUE(node.driver->portVlans(port, which, vlans));
        return formatVlanRanges(vlans);
    }

    LinuxNode node;
};

TEST_F(LinuxVlans, WhatOthersConfigureOnBridgeOrPortIsStatic) {
    node.start();
    node.kernel.addVlans(kBridge, vlanSet({10}));
    node.kernel.addVlans(kEth1, vlanSet({11}));
    const std::vector<Message> messages = {vlanCreated(10), vlanCreated(11)};
    EXPECT_EQ(node.settle(), messages);
    EXPECT_EQ(node.type(10), kStaticType);
    EXPECT_EQ(node.type(11), kStaticType);
    node.kernel.removeVlans(kEth1, vlanSet({11}));
    EXPECT_EQ(node.settle(), std::vector<Message>{vlanDeleted(11)});
    EXPECT_EQ(node.type(11), 0U);
}

TEST_F(LinuxVlans, VlanOneIsStaticWhereTheKernelHasItAndNowhereElse) {
    for (const u32 index : {kBridge, kEth0, kEth1})
        node.kernel.removeVlans(index, vlanSet({1}));
    node.start();
    node.enable(kEth0);
    EXPECT_EQ(node.type(1), 0U);
    EXPECT_EQ(node.carried(kEth0), "-") << "as with vlan_default_pvid 0";
    node.kernel.addVlans(kEth1, vlanSet({1}));
    EXPECT_EQ(node.settle(), std::vector<Message>{vlanCreated(1)});
    EXPECT_EQ(node.type(1), kStaticType);
    EXPECT_EQ(node.carried(kEth0), "1") << "a static VLAN as any";
}

TEST_F(LinuxVlans, VlanOneCanBeLearntWhereNobodyConfiguredIt) {
    for (const u32 index : {kBridge, kEth0, kEth1})
        node.kernel.removeVlans(index, vlanSet({1}));
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({1})));
    EXPECT_EQ(node.type(1), kDynamicType);
    EXPECT_EQ(node.carried(kEth0), "1");
    EXPECT_EQ(node.carried(kEth1), "-");
}

TEST_F(LinuxVlans, VlanOneIsAlwaysStaticWhereThatIsAskedFor) {
    for (const u32 index : {kBridge, kEth0, kEth1})
        node.kernel.removeVlans(index, vlanSet({1}));
    node.config.vlanOne = VlanOne::Always;
    node.start();
    EXPECT_EQ(node.type(1), kStaticType);
    node.enable(kEth0);
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxVlans, APortThatTakesPartCarriesEveryStaticVlanOfItsPermitList) {
    LinuxPortRule rule;
    rule.pattern = "eth1";
    rule.permit = vlanRange(1, 35);
    node.config.rules = {rule};
    startWithTap();
    node.enable(kEth0);
    node.enable(kEth1);
    node.kernel.addVlans(kTap, vlanSet({30, 40}));
    const std::vector<Message> created = {vlanCreated(30), vlanCreated(40)};
    EXPECT_EQ(node.settle(), created);
    EXPECT_EQ(node.carried(kEth0), "1,30,40");
    EXPECT_EQ(node.carried(kEth1), "1,30");
    EXPECT_EQ(node.dynamic(kEth0), "-");
    EXPECT_TRUE(node.settle().empty()) << "that the ports carry it is no news";
    node.kernel.removeVlans(kTap, vlanSet({30}));
    EXPECT_EQ(node.settle(), std::vector<Message>{vlanDeleted(30)});
    EXPECT_TRUE(node.settleAfter(kLingerMs).empty());
    EXPECT_EQ(node.carried(kEth0), "1,40");
    EXPECT_EQ(node.carried(kEth1), "1");
}

TEST_F(LinuxVlans, APortThatTakesNoPartCarriesWhatItHas) {
    startWithTap();
    node.kernel.addVlans(kTap, vlanSet({30}));
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1");
    node.enable(kEth0);
    EXPECT_EQ(node.carried(kEth0), "1,30") << "at once";
    node.disable(kEth0);
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxVlans, TheLastEntryOfOthersDecides) {
    startWithTap();
    node.enable(kEth0);
    node.kernel.addVlans(kTap, vlanSet({30}));
    node.kernel.addVlans(kEth1, vlanSet({30}));
    node.settle();
    node.kernel.removeVlans(kTap, vlanSet({30}));
    EXPECT_TRUE(node.settle().empty());
    EXPECT_EQ(node.carried(kEth0), "1,30");
    node.kernel.removeVlans(kEth1, vlanSet({30}));
    EXPECT_EQ(node.settle(), std::vector<Message>{vlanDeleted(30)});
    node.settleAfter(kLingerMs);
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxVlans, APermitListThatIsTightenedLeavesWhatIsRegistered) {
    node.start();
    node.driver->setAdmission(true);
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({30})));
    node.config.rest.permit = vlanRange(1, 10);
    node.driver->reconfigure(node.config);
    const std::vector<Message> ofOtherPort = {{0x20, kVlanInterfaceBase + 30, 1, 30, 65, kEth1}};
    EXPECT_EQ(node.log.take(), ofOtherPort) << "the port that has it registered is not removed";
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1,30");
    EXPECT_EQ(node.driver->admit(kEth0, 30), Admission::NotPermitted);
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanSet({30})));
    EXPECT_EQ(node.carried(kEth0), "1");
    EXPECT_FALSE(node.driver->permits(kEth0, 30));
}

TEST_F(LinuxVlans, AsConfiguredAddsNoneAndReadsWhatTheKernelHas) {
    node.config.staticVlans = StaticVlans::AsConfigured;
    startWithTap();
    node.enable(kEth0);
    node.kernel.addVlans(kTap, vlanSet({30}));
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1");
    EXPECT_FALSE(node.driver->permits(kEth0, 30));
    EXPECT_TRUE(node.driver->permits(kTap, 30));
    EXPECT_TRUE(node.driver->permits(kEth0, 31)) << "no static VLAN: the permit list counts";
    EXPECT_EQ(permitted(kEth0), "1-29,31-4094");
    EXPECT_EQ(permitted(kEth0, VlanSet::PermittedTagged), "2-29,31-4094");
    node.kernel.addVlans(kEth0, vlanSet({30}));
    const auto messages = node.settle();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].attribute, 64U);
    EXPECT_EQ(messages[0].value, kEth0);
    EXPECT_EQ(messages[0].vid, 30U);
    EXPECT_TRUE(node.driver->permits(kEth0, 30));
}

TEST_F(LinuxVlans, UntaggedAndPvidAreThoseOfTheKernel) {
    node.start();
    node.kernel.addUntagged(kEth0, 7, true);
    node.settle();
    PortState state{};
    ASSERT_TRUE(node.driver->portState(kEth0, state));
    EXPECT_EQ(state.pvid, 7U);
    EXPECT_EQ(permitted(kEth0, VlanSet::Untagged), "1,7");
    EXPECT_EQ(permitted(kEth0, VlanSet::PermittedTagged), "2-6,8-4094");
}

TEST_F(LinuxVlans, AStaticVlanOverADynamicOneIsATypeAndTheEntryStays) {
    startWithTap();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20})));
    EXPECT_EQ(node.type(20), kDynamicType);
    node.kernel.addVlans(kTap, vlanSet({20}));
    const auto messages = node.settle();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].attribute, 40U);
    EXPECT_EQ(messages[0].value, kStaticType);
    EXPECT_EQ(node.type(20), kStaticType);
    EXPECT_EQ(node.carried(kEth0), "1,20");
    EXPECT_EQ(node.dynamic(kEth0), "-") << "carried because it is static now";
    node.kernel.removeVlans(kTap, vlanSet({20}));
    EXPECT_EQ(node.settle(), std::vector<Message>{vlanDeleted(20)});
    node.settleAfter(kLingerMs);
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(LinuxVlans, AStaticVlanOverADynamicOneLeavesTheMembershipWhereNoneIsCarried) {
    node.config.staticVlans = StaticVlans::AsConfigured;
    startWithTap();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20})));
    node.kernel.addVlans(kTap, vlanSet({20}));
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1,20");
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanSet({20})));
    EXPECT_EQ(node.carried(kEth0), "1");
    EXPECT_EQ(node.carried(kTap), "1,20");
}

TEST_F(LinuxVlans, AnEntryOfOursThatOthersMakeUntaggedIsTheirs) {
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20, 21})));
    node.kernel.addUntagged(kEth0, 20, false);
    node.settle();
    EXPECT_EQ(node.type(20), kStaticType);
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanSet({20, 21})));
    node.driver->stop(Ending::Stop);
    EXPECT_EQ(node.carried(kEth0), "1,20");
}

TEST_F(LinuxVlans, AForeignWipeIsRepaired) {
    startWithTap();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20, 21})));
    node.kernel.addVlans(kTap, vlanSet({30}));
    node.settle();
    node.kernel.removeVlans(kEth0, vlanRange(2, 4094));
    EXPECT_TRUE(node.settle().empty()) << "nothing for the daemon";
    EXPECT_EQ(node.carried(kEth0), "1,20-21,30");
    EXPECT_EQ(node.type(20), kDynamicType);
}

TEST_F(LinuxVlans, ALostNotificationIsReplacedByALook) {
    startWithTap();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({20})));
    node.kernel.addVlans(kTap, vlanSet({30}));
    node.kernel.removeVlans(kEth0, vlanSet({20}));
    node.kernel.setUp(kEth1, false);
    node.kernel.loseEvents();
    const std::vector<Message> messages = {vlanCreated(30), linkMessage(kEth1, false)};
    EXPECT_EQ(node.settle(), messages);
    EXPECT_EQ(node.carried(kEth0), "1,20,30");
}

TEST_F(LinuxVlans, AReadThatFailsIsTriedAgain) {
    node.start();
    node.kernel.addVlans(kEth1, vlanSet({30}));
    node.kernel.failReads(2);
    EXPECT_TRUE(node.settle().empty());
    EXPECT_TRUE(node.driver->hasUnfinished());
    EXPECT_TRUE(node.settle().empty());
    EXPECT_EQ(node.settle(), std::vector<Message>{vlanCreated(30)});
    EXPECT_FALSE(node.driver->hasUnfinished());
}

TEST_F(LinuxVlans, OtherSettingsTakeEffectAtOnce) {
    startWithTap();
    node.enable(kEth0);
    node.kernel.addVlans(kTap, vlanSet({30}));
    node.settle();
    EXPECT_EQ(node.carried(kEth0), "1,30");
    LinuxBridgeConfig next = node.config;
    LinuxPortRule rule;
    rule.pattern = "eth*";
    rule.permit = vlanRange(1, 10);
    next.rules = {rule};
    node.driver->reconfigure(next);
    EXPECT_EQ(node.carried(kEth0), "1");
    next.rules.clear();
    node.driver->reconfigure(next);
    EXPECT_EQ(node.carried(kEth0), "1,30");
    next.staticVlans = StaticVlans::AsConfigured;
    node.driver->reconfigure(next);
    EXPECT_EQ(node.carried(kEth0), "1");
}

/// A manager that knows nothing of the daemon takes its entry away whenever it sees it.
TEST_F(LinuxVlans, WhatOthersRemoveAgainAndAgainIsWrittenLaterAndLaterAndThatIsSaid) {
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({10, 11})));
    ::testing::internal::CaptureStderr();
    const std::size_t before = node.kernel.requests.size();
    constexpr u32 kSeconds = 100;
    for (u32 tenth = 0; tenth < kSeconds * 10; tenth++) {
        node.kernel.removeVlans(kEth0, vlanSet({10}));
        node.settleAfter(100);
    }
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_LT(node.kernel.requests.size() - before, 15U) << "and not " << kSeconds * 10;
    EXPECT_NE(log.find("VLANs 10 again and again"), std::string::npos) << log;
    EXPECT_TRUE(vlanContains(node.kernel.vlansOf(kEth0).carried, 11))
        << "the others are left alone";
    EXPECT_EQ(node.dynamic(kEth0), "10-11");
    // The manager has gone.
    node.settleAfter(kLongestDisputeMs);
    EXPECT_TRUE(vlanContains(node.kernel.vlansOf(kEth0).carried, 10));
    // A long time after it a single removal is made good at once.
    node.settleAfter(400'000);
    node.kernel.removeVlans(kEth0, vlanSet({10}));
    node.settle();
    EXPECT_TRUE(vlanContains(node.kernel.vlansOf(kEth0).carried, 10));
}

}  // namespace
}  // namespace platform::testing
