// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "network/check/finding.h"
#include "network/diff/diff.h"
#include "network/explain/way.h"
#include "platform/model/vlan_algebra.h"
#include "tests/unit/network/line.h"

namespace network::testing {
namespace {

class Check : public ::testing::Test {
  protected:
    Port& port(const std::string& name, std::size_t index) { return at(switches, name, index); }
    Switch& of(const std::string& name) {
        return *std::ranges::find(switches, name, &Switch::name);
    }
    /// What middle does not hear from west, east does not hear either.
    void stopAtMiddle() {
        Port& in = port("middle", 0);
        in.registered = in.member = in.learnt = in.heard = {};
        platform::vlanErase(port("middle", 1).declared, kVlan);
        platform::vlanErase(port("east", 0).registered, kVlan);
    }
    std::vector<Finding> check() { return checkNetwork(joinNetwork(switches, {})); }
    /// The one finding that there is to be, at a port or on a switch.
    void expectOnly(Reason reason, const std::string& where, Severity severity) {
        const std::vector<Finding> found = check();
        std::string all;
        for (const Finding& each : found)
            all +=
                std::string(reasonName(each.reason)) + " " + each.onSwitch + ":" + each.port + "\n";
        ASSERT_EQ(found.size(), 1U) << all;
        EXPECT_EQ(found[0].reason, reason) << all;
        EXPECT_EQ(found[0].onSwitch + (found[0].port.empty() ? "" : ":" + found[0].port), where);
        EXPECT_EQ(found[0].severity, severity) << all;
        if (severity == Severity::Error) {
            EXPECT_EQ(found[0].cable, "middle:m1 - west:w1");
        }
    }

    std::vector<Switch> switches = lineOfThree();
};

TEST_F(Check, NothingWhereAllIsWell) {
    EXPECT_TRUE(check().empty());
}

TEST_F(Check, APermitListAtEitherEnd) {
    stopAtMiddle();
    platform::vlanErase(port("middle", 0).permitted, kVlan);
    expectOnly(Reason::NotPermitted, "middle:m1", Severity::Error);
    EXPECT_EQ(check()[0].vlans, vlanRange(kVlan, kVlan));
    EXPECT_EQ(check()[0].commands[0], "mvrpctl switch vlan add-port m1 30");
}

TEST_F(Check, AModeThatLearnsNothing) {
    stopAtMiddle();
    port("middle", 0).registration = Registration::Forbidden;
    expectOnly(Reason::Forbidden, "middle:m1", Severity::Error);
    port("middle", 0).registration = Registration::Fixed;
    expectOnly(Reason::Fixed, "middle:m1", Severity::Error);
}

TEST_F(Check, ALimitThatIsReached) {
    stopAtMiddle();
    port("middle", 0).registered = vlanRange(5, 6);
    port("middle", 0).maxVlans = 2;
    expectOnly(Reason::Limit, "middle:m1", Severity::Error);
}

TEST_F(Check, MvrpOffOnAPortOrASwitch) {
    stopAtMiddle();
    port("middle", 0).enabled = false;
    expectOnly(Reason::PortOff, "middle:m1", Severity::Error);
    port("middle", 0).enabled = true;
    of("west").enabled = false;
    expectOnly(Reason::MvrpOff, "west", Severity::Error);
}

TEST_F(Check, TheOtherProtocol) {
    stopAtMiddle();
    of("west").gvrp = true;
    expectOnly(Reason::Protocols, "west", Severity::Error);
}

TEST_F(Check, ALinkThatIsDown) {
    stopAtMiddle();
    port("west", 0).linkUp = false;
    expectOnly(Reason::LinkDown, "west:w1", Severity::Error);
}

TEST_F(Check, TimesThatCanNotWorkTogether) {
    port("west", 0).joinMs = 6000;
    port("west", 0).leaveMs = 12'000;
    expectOnly(Reason::Times, "middle:m1", Severity::Warning);
    // A leave time above the LeaveAll time would be refused.
    EXPECT_EQ(check()[0].commands,
              (std::vector<std::string>{"mvrpctl set port m1 leave-all-time 24000",
                                        "mvrpctl set port m1 leave-time 12000"}));
    port("middle", 0).leaveAllMs = 30'000;
    EXPECT_EQ(check()[0].commands,
              std::vector<std::string>{"mvrpctl set port m1 leave-time 12000"});
}

TEST_F(Check, WhatTimesThatDoNotFitCauseIsNoFindingOfItsOwn) {
    port("west", 0).joinMs = 6000;
    port("west", 0).leaveMs = 12'000;
    vlanInsert(port("west", 0).declared, 77);
    expectOnly(Reason::Times, "middle:m1", Severity::Warning);
}

TEST_F(Check, DeclaredAndNotRegisteredAtTheOtherEnd) {
    stopAtMiddle();
    expectOnly(Reason::NotHeard, "middle:m1", Severity::Error);
}

TEST_F(Check, AMemberThatNobodyNeeds) {
    vlanInsert(port("east", 0).learnt, 77);
    vlanInsert(port("east", 0).registered, 77);
    expectOnly(Reason::Stale, "east:e1", Severity::Warning);
}

TEST_F(Check, AWithdrawalThatIsUnderWayIsNoMemberThatNobodyNeeds) {
    Port& in = port("east", 0);
    vlanInsert(in.learnt, 77);
    vlanInsert(in.registered, 77);
    // LeaveAll 10 s, leave time 0.6 s, ages in whole seconds.
    in.heardAges = {{vlanRange(77, 77), 16'000}};
    EXPECT_TRUE(check().empty());
    in.heardAges = {{vlanRange(77, 77), 17'000}};
    expectOnly(Reason::Stale, "east:e1", Severity::Warning);
    in.withdrawnAges = {{vlanRange(77, 77), 0}};
    EXPECT_TRUE(check().empty());
}

TEST_F(Check, CorrectionsVersionsAndOnePlaceAreNotes) {
    of("middle").corrections->emplace_back("admission");
    of("east").corrections->emplace_back("admission");
    expectOnly(Reason::Corrections, "west", Severity::Note);
    of("west").corrections->emplace_back("admission");
    vlanInsert(of("west").staticVlans, 40);
    expectOnly(Reason::OnePlace, "west", Severity::Note);
}

TEST_F(Check, TwoNeighboursOnACable) {
    port("west", 0).neighbours.push_back({0x99, false, 10, false});
    expectOnly(Reason::Neighbours, "west:w1", Severity::Warning);
}

TEST_F(Check, ANeighbourThatWasThereBeforeIsNoSecondOne) {
    // Its own LeaveAll time says when it should have been heard, not the longer one of the port.
    switches.push_back(switchOf("old", {portOf("o1", 0x01, 0)}, false));
    port("old", 0).leaveAllMs = 10'000;
    port("west", 0).leaveAllMs = 60'000;
    port("west", 0).neighbours.push_back({0x01, false, 40'000, false});
    const auto second = [this] {
        return std::ranges::count(check(), Reason::Neighbours, &Finding::reason);
    };
    EXPECT_EQ(second(), 1);
    port("west", 0).neighbours.back().ageMs = 51'000;
    EXPECT_EQ(second(), 0);
}

TEST_F(Check, IslandsBetweenWhichNoCableIsKnown) {
    switches.push_back(switchOf("zoo", {}, true));
    const std::vector<Finding> found = check();
    ASSERT_EQ(found.size(), 2U) << "one for each part";
    EXPECT_EQ(found[0].reason, Reason::Islands);
}

TEST_F(Check, TheWayIsGreenUntilTheFirstBreak) {
    const auto ways = [this] { return waysOf(joinNetwork(switches, {}), kVlan, "east", "west"); };
    EXPECT_TRUE(ways()[0].whole);
    stopAtMiddle();
    port("middle", 0).registration = Registration::Forbidden;
    const std::vector<Way> broken = ways();
    ASSERT_EQ(broken[0].hops.size(), 2U);
    EXPECT_TRUE(broken[0].hops[0].carries);
    ASSERT_TRUE(broken[0].hops[1].stopped);
    EXPECT_EQ(broken[0].hops[1].stopped->reason, Reason::Forbidden);
    EXPECT_FALSE(broken[0].hops[1].words.empty());
    EXPECT_EQ(nameOf(joinNetwork(switches, {}), broken[0].hops[1].wordsAt), "middle:m1");
}

TEST_F(Check, WhatChangedBetweenTwoCollections) {
    const Network before = joinNetwork(switches, {});
    EXPECT_TRUE(compareNetworks(before, before).empty());
    port("middle", 0).registration = Registration::Forbidden;
    switches.push_back(switchOf("zoo", {}, true));
    const std::vector<Difference> found = compareNetworks(before, joinNetwork(switches, {}));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].where, "middle:m1");
    EXPECT_EQ(found[0].after, "forbidden");
    EXPECT_EQ(found[1].where, "zoo");
    EXPECT_EQ(found[1].before, "");
}

}  // namespace
}  // namespace network::testing
