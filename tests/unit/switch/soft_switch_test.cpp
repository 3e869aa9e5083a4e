// SPDX-License-Identifier: MIT
//
// What the software switch does beyond the contract: changes of an administrator, and what the
// daemon hears of them.
#include "platform/switch/soft_switch.h"

#include <gtest/gtest.h>

#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

std::unique_ptr<DriverHarness> makeSoftHarness() {
    return std::make_unique<SoftHarness>();
}

INSTANTIATE_TEST_SUITE_P(SoftSwitch, DriverContract, ::testing::Values(&makeSoftHarness));

constexpr u32 kNewLink = 0x20;
constexpr u32 kDelLink = 0x21;
constexpr u32 kVlan10 = kVlanInterfaceBase + 10;
constexpr u32 kCreated = 0xFFFFFFFF;
constexpr u32 kChanged = 1;

class SoftSwitchChanges : public ::testing::Test {
  protected:
    void SetUp() override { soft_.setRouteSink(&log_); }

    HostStatus change(SwitchChangeKind kind, u32 unit, u32 value = 0,
                      const VlanBitmap& vlans = {}) {
        error_.clear();
        return soft_.change(changeOf(kind, unit, value, vlans), error_);
    }
    std::vector<Message> messages() { return log_.take(); }
    PortState state(u32 unit) {
        PortState state{};
        EXPECT_TRUE(soft_.portState(unit, state));
        return state;
    }

    SoftSwitch soft_{smallSwitch()};
    MessageLog log_;
    std::string error_;
};

Message vlanCreated(u32 vid) {
    return {kNewLink, kVlanInterfaceBase + vid, kCreated, 0, 0, 0};
}
Message vlanDeleted(u32 vid) {
    return {kDelLink, kVlanInterfaceBase + vid, 0, 0, 0, 0};
}
Message attribute(u32 index, u32 type, u32 value, u32 vid = 0) {
    return {kNewLink, index, kChanged, vid, type, value};
}

TEST_F(SoftSwitchChanges, TakingOverIsReportedAsLinksThatComeBack) {
    ASSERT_EQ(change(SwitchChangeKind::PortLink, 3, 0), HostStatus::Ok);
    soft_.setRole(HostRole::Active);
    soft_.setRole(HostRole::Standby);
    messages();
    soft_.setRole(HostRole::Active);
    const u32 links[] = {5, 100, 101};
    std::vector<Message> expected;
    for (const u32 unit : links) {
        expected.push_back(attribute(unit, 16, 0));
        expected.push_back(attribute(unit, 16, 1));
    }
    EXPECT_EQ(messages(), expected);
}

TEST_F(SoftSwitchChanges, ADeletedPortHasNoMembershipsLeftToRemove) {
    EXPECT_FALSE(soft_.removeDynamic(4, vlanSet({20})));
    ASSERT_EQ(change(SwitchChangeKind::PortDelete, 5), HostStatus::Ok);
    EXPECT_TRUE(soft_.removeDynamic(5, vlanSet({20})));
    EXPECT_FALSE(soft_.addDynamic(5, vlanSet({1})));
}

TEST_F(SoftSwitchChanges, VlanCreationIsReportedAsACreatedInterface) {
    ASSERT_EQ(change(SwitchChangeKind::VlanCreate, 0, 0, vlanSet({1, 10, 11})), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{vlanCreated(10), vlanCreated(11)}));
}

TEST_F(SoftSwitchChanges, VlanDeletionIsReportedAndEndsMemberships) {
    change(SwitchChangeKind::VlanCreate, 0, 0, vlanSet({10}));
    ASSERT_TRUE(soft_.setProtocol(3, kProtocolMvrp, true));
    ASSERT_TRUE(soft_.addDynamic(3, vlanSet({10})));
    messages();
    ASSERT_EQ(change(SwitchChangeKind::VlanDelete, 0, 0, vlanSet({10, 20})), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{vlanDeleted(10)}));
    VlanBitmap vlans{};
    ASSERT_TRUE(soft_.portVlans(3, VlanSet::Dynamic, vlans));
    EXPECT_TRUE(vlanIsEmpty(vlans));
}

TEST_F(SoftSwitchChanges, VlanOneCanNotBeDeleted) {
    change(SwitchChangeKind::VlanCreate, 0, 0, vlanSet({10}));
    messages();
    EXPECT_EQ(change(SwitchChangeKind::VlanDelete, 0, 0, vlanSet({1, 10})),
              HostStatus::BadArgument);
    EXPECT_NE(error_.find("2 to 4094"), std::string::npos);
    EXPECT_TRUE(soft_.vlanType(10).has_value()) << "nothing of a refused change happens";
    EXPECT_TRUE(messages().empty());
}

TEST_F(SoftSwitchChanges, VlanTypeChangesAreReported) {
    ASSERT_TRUE(soft_.createDynamic(vlanSet({10})));
    ASSERT_EQ(change(SwitchChangeKind::VlanType, 0, 2, vlanSet({10})), HostStatus::Ok);
    ASSERT_EQ(change(SwitchChangeKind::VlanType, 0, 2, vlanSet({10})), HostStatus::Ok);
    ASSERT_EQ(change(SwitchChangeKind::VlanType, 0, 6, vlanSet({10})), HostStatus::Ok);
    EXPECT_EQ(messages(),
              (std::vector<Message>{attribute(kVlan10, 40, 2, 10), attribute(kVlan10, 40, 6, 10)}));
}

TEST_F(SoftSwitchChanges, CreatingADynamicVlanMakesItStatic) {
    ASSERT_TRUE(soft_.createDynamic(vlanSet({10})));
    ASSERT_EQ(change(SwitchChangeKind::VlanCreate, 0, 0, vlanSet({10})), HostStatus::Ok);
    EXPECT_EQ(soft_.vlanType(10), QorVlanType::Static);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(kVlan10, 40, 2, 10)}));
}

TEST_F(SoftSwitchChanges, VlanTypeRefusesWhatCanNotBe) {
    EXPECT_EQ(change(SwitchChangeKind::VlanType, 0, 3, vlanSet({1})), HostStatus::BadArgument);
    EXPECT_EQ(change(SwitchChangeKind::VlanType, 0, 6, vlanSet({1})), HostStatus::BadArgument);
    EXPECT_EQ(change(SwitchChangeKind::VlanType, 0, 2, vlanSet({10})), HostStatus::BadArgument);
    EXPECT_TRUE(messages().empty());
}

TEST_F(SoftSwitchChanges, LinkDownIsReportedOnce) {
    ASSERT_EQ(change(SwitchChangeKind::PortLink, 3, 0), HostStatus::Ok);
    ASSERT_EQ(change(SwitchChangeKind::PortLink, 3, 0), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(3, 16, 0)}));
}

TEST_F(SoftSwitchChanges, LinkUpIsReportedAsDownAndUpOnceMore) {
    change(SwitchChangeKind::PortLink, 3, 0);
    messages();
    ASSERT_EQ(change(SwitchChangeKind::PortLink, 3, 1), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(3, 16, 0), attribute(3, 16, 1)}));
    EXPECT_TRUE(state(3).linkUp);
}

TEST_F(SoftSwitchChanges, IneligiblePortIsReportedWithAttribute41) {
    ASSERT_EQ(change(SwitchChangeKind::PortEligible, 3, 0), HostStatus::Ok);
    ASSERT_EQ(change(SwitchChangeKind::PortEligible, 3, 1), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(3, 41, 0), attribute(3, 41, 1)}));
}

TEST_F(SoftSwitchChanges, JoiningAnAggregationIsReportedWithAttribute52) {
    ASSERT_EQ(change(SwitchChangeKind::PortJoinAgg, 3, 100), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(3, 52, 100)}));
    EXPECT_FALSE(state(3).eligible);
    EXPECT_TRUE(state(100).eligible);
    ASSERT_EQ(change(SwitchChangeKind::PortLeaveAgg, 3), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(3, 41, 1)}));
    EXPECT_TRUE(state(3).eligible);
}

TEST_F(SoftSwitchChanges, AggregationChangesAreRefusedWithAReason) {
    EXPECT_EQ(change(SwitchChangeKind::PortJoinAgg, 3, 5), HostStatus::BadArgument);
    EXPECT_NE(error_.find("aggregation"), std::string::npos);
    EXPECT_EQ(change(SwitchChangeKind::PortJoinAgg, 100, 101), HostStatus::BadArgument);
    EXPECT_EQ(change(SwitchChangeKind::PortLeaveAgg, 3), HostStatus::BadArgument);
    ASSERT_EQ(change(SwitchChangeKind::PortJoinAgg, 3, 100), HostStatus::Ok);
    EXPECT_EQ(change(SwitchChangeKind::PortJoinAgg, 3, 101), HostStatus::Exists);
    EXPECT_EQ(change(SwitchChangeKind::PortDelete, 100), HostStatus::BadArgument);
}

TEST_F(SoftSwitchChanges, AggregationIsUpWhileOneMemberIs) {
    change(SwitchChangeKind::PortJoinAgg, 3, 100);
    change(SwitchChangeKind::PortJoinAgg, 5, 100);
    EXPECT_EQ(soft_.egressPort(100), 3U);
    change(SwitchChangeKind::PortLink, 3, 0);
    EXPECT_TRUE(state(100).linkUp);
    EXPECT_EQ(soft_.egressPort(100), 5U);
    messages();
    change(SwitchChangeKind::PortLink, 5, 0);
    EXPECT_FALSE(state(100).linkUp);
    EXPECT_EQ(soft_.egressPort(100), 0U);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(5, 16, 0), attribute(100, 16, 0)}));
}

TEST_F(SoftSwitchChanges, FramesOfAMemberCountForItsAggregation) {
    change(SwitchChangeKind::PortJoinAgg, 3, 100);
    ASSERT_TRUE(soft_.setProtocol(100, kProtocolMvrp, true));
    const FramePolicy policy = soft_.framePolicy(3);
    EXPECT_EQ(policy.unit, 100U);
    EXPECT_TRUE(policy.mvrp);
}

TEST_F(SoftSwitchChanges, MembersAreReportedForVlansThatExist) {
    change(SwitchChangeKind::VlanCreate, 0, 0, vlanSet({10}));
    messages();
    ASSERT_EQ(change(SwitchChangeKind::VlanRemovePort, 3, 0, vlanSet({10, 20})), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(kVlan10, 65, 3, 10)}));
    EXPECT_FALSE(soft_.permits(3, 20));
    ASSERT_EQ(change(SwitchChangeKind::VlanAddPort, 3, 0, vlanSet({10, 20})), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(kVlan10, 64, 3, 10)}));
    EXPECT_TRUE(soft_.permits(3, 20));
}

TEST_F(SoftSwitchChanges, PermitListReplacesTheOldOneAndReportsTheDifference) {
    change(SwitchChangeKind::VlanCreate, 0, 0, vlanSet({10, 11}));
    messages();
    ASSERT_EQ(change(SwitchChangeKind::PortPermit, 3, 0, vlanSet({1, 11, 30})), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{attribute(kVlan10, 65, 3, 10)}));
    VlanBitmap vlans{};
    ASSERT_TRUE(soft_.portVlans(3, VlanSet::PermittedTagged, vlans));
    EXPECT_EQ(vlans, vlanSet({11, 30})) << "the PVID stays untagged";
    ASSERT_TRUE(soft_.portVlans(3, VlanSet::Untagged, vlans));
    EXPECT_EQ(vlans, vlanSet({1}));
}

TEST_F(SoftSwitchChanges, NewPvidIsUntaggedAndTheOldOneTagged) {
    ASSERT_EQ(change(SwitchChangeKind::PortPvid, 3, 10), HostStatus::Ok);
    EXPECT_EQ(state(3).pvid, 10U);
    VlanBitmap vlans{};
    ASSERT_TRUE(soft_.portVlans(3, VlanSet::Untagged, vlans));
    EXPECT_EQ(vlans, vlanSet({10}));
    ASSERT_TRUE(soft_.portVlans(3, VlanSet::PermittedTagged, vlans));
    EXPECT_TRUE(vlanContains(vlans, 1));
    EXPECT_FALSE(vlanContains(vlans, 10));
    EXPECT_EQ(change(SwitchChangeKind::PortPvid, 3, 0), HostStatus::BadArgument);
    EXPECT_EQ(change(SwitchChangeKind::PortPvid, 3, 4095), HostStatus::BadArgument);
}

TEST_F(SoftSwitchChanges, AddedPortIsATrunkAndReported) {
    ASSERT_EQ(change(SwitchChangeKind::PortAdd, 7), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{{kNewLink, 7, kCreated, 0, 0, 0}}));
    EXPECT_TRUE(soft_.permits(7, 4094));
    EXPECT_TRUE(state(7).eligible);
    EXPECT_EQ(change(SwitchChangeKind::PortAdd, 7), HostStatus::Exists);
    EXPECT_EQ(change(SwitchChangeKind::PortAdd, 0), HostStatus::BadArgument);
    EXPECT_EQ(change(SwitchChangeKind::PortAdd, kVlanInterfaceBase), HostStatus::BadArgument);
}

TEST_F(SoftSwitchChanges, ANameOfAnotherPortOrOfAUnitIsRefused) {
    SwitchChangeRecord record = changeOf(SwitchChangeKind::PortAdd, 7, 0);
    const auto add = [&](std::string_view name) {
        record.text = {};
        std::ranges::copy(name, record.text.begin());
        return soft_.change(record, error_);
    };
    std::string taken;
    ASSERT_TRUE(soft_.portName(3, taken));
    EXPECT_EQ(add(taken), HostStatus::Exists);
    EXPECT_NE(error_.find("port 3 is called " + taken), std::string::npos) << error_;
    EXPECT_EQ(add("12"), HostStatus::BadArgument);
    EXPECT_NE(error_.find("not a number"), std::string::npos) << error_;
    EXPECT_EQ(add("port7"), HostStatus::Ok);
    record.unit = 8;
    EXPECT_EQ(add("port7"), HostStatus::Exists);
    EXPECT_EQ(add("8th"), HostStatus::Ok);
}

TEST_F(SoftSwitchChanges, DeletedPortIsReportedAndCanStillBeDescribed) {
    ASSERT_EQ(change(SwitchChangeKind::PortDelete, 3), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{{kDelLink, 3, 0, 0, 0, 0}}));
    PortState gone{};
    EXPECT_FALSE(soft_.portState(3, gone));
    QorIndexInfo info{};
    ASSERT_TRUE(soft_.describeIndex(3, info));
    EXPECT_EQ(info.endType, static_cast<u32>(QorEndType::Port));
}

TEST_F(SoftSwitchChanges, ResetAndTunnelAreMessagesOnly) {
    SwitchChangeRecord record = changeOf(SwitchChangeKind::TunnelMac, 3, 1);
    record.mac = {0x01, 0x80, 0xC2, 0, 0, 0x21};
    ASSERT_EQ(soft_.change(record, error_), HostStatus::Ok);
    ASSERT_EQ(change(SwitchChangeKind::PortReset, 5), HostStatus::Ok);
    EXPECT_EQ(messages(), (std::vector<Message>{{0x185, 3, 0, 0, 0, 1}, {0x144, 5, 0, 0, 0, 0}}));
    EXPECT_EQ(change(SwitchChangeKind::TunnelMac, 3, 3), HostStatus::BadArgument);
}

TEST_F(SoftSwitchChanges, WhatTheDaemonAsksForIsNotReported) {
    ASSERT_TRUE(soft_.setProtocol(3, kProtocolMvrp, true));
    ASSERT_TRUE(soft_.createDynamic(vlanSet({10, 11})));
    ASSERT_TRUE(soft_.addDynamic(3, vlanSet({10})));
    ASSERT_TRUE(soft_.removeDynamic(3, vlanSet({10})));
    ASSERT_TRUE(soft_.deleteDynamic(vlanSet({10, 11})));
    EXPECT_TRUE(messages().empty());
}

TEST_F(SoftSwitchChanges, LargeChangesAreSplitIntoReadsOfTheDaemon) {
    ASSERT_EQ(change(SwitchChangeKind::VlanCreate, 0, 0, vlanRange(2, 4094)), HostStatus::Ok);
    EXPECT_EQ(messages().size(), 4093U);
}

TEST_F(SoftSwitchChanges, UnknownPortsKindsAndVlansAreRefused) {
    EXPECT_EQ(change(SwitchChangeKind::PortLink, 4, 1), HostStatus::NoSuchPort);
    EXPECT_NE(error_.find('4'), std::string::npos);
    EXPECT_EQ(change(static_cast<SwitchChangeKind>(999), 3), HostStatus::Unsupported);
    EXPECT_EQ(change(SwitchChangeKind::PortLink, 3, 2), HostStatus::BadArgument);
    EXPECT_EQ(change(SwitchChangeKind::PortEligible, 3, 2), HostStatus::BadArgument);
    for (const auto kind : {SwitchChangeKind::VlanCreate, SwitchChangeKind::VlanDelete,
                            SwitchChangeKind::VlanAddPort, SwitchChangeKind::PortPermit}) {
        EXPECT_EQ(change(kind, 3, 0, vlanSet({10, 4095})), HostStatus::BadArgument);
        EXPECT_EQ(change(kind, 3, 0, vlanSet({10, 4096})), HostStatus::BadArgument);
    }
    EXPECT_TRUE(messages().empty());
}

TEST_F(SoftSwitchChanges, ReconfigurationReportsTheDifferenceAndKeepsWhatWasLearnt) {
    ASSERT_TRUE(soft_.setProtocol(3, kProtocolMvrp, true));
    ASSERT_TRUE(soft_.createDynamic(vlanSet({20})));
    ASSERT_TRUE(soft_.addDynamic(3, vlanSet({20})));
    SwitchConfig config = smallSwitch();
    config.staticVlans = vlanSet({1, 10});
    config.ports.erase(config.ports.begin() + 1);
    config.ports[0].linkUp = false;
    soft_.reconfigure(config);
    EXPECT_EQ(messages(), (std::vector<Message>{
                              {kDelLink, 5, 0, 0, 0, 0}, vlanCreated(10), attribute(3, 16, 0)}));
    EXPECT_TRUE(soft_.framePolicy(3).mvrp);
    EXPECT_EQ(soft_.vlanType(20), QorVlanType::Dynamic);
    VlanBitmap vlans{};
    ASSERT_TRUE(soft_.portVlans(3, VlanSet::Dynamic, vlans));
    EXPECT_EQ(vlans, vlanSet({20}));
}

}  // namespace
}  // namespace platform::testing
