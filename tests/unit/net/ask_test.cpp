// SPDX-License-Identifier: MIT
//
// When a port asks its neighbours to declare again, and how many PDUs it takes.
#include <gtest/gtest.h>

#include "platform/net/cables/open_cable.h"
#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

using frames::Bytes;
using frames::gvrpFrame;
using frames::nativeFrame;

constexpr u32 kPort = 3;
constexpr u32 kOther = 5;  ///< without a cable
const Bytes kJoin10 = nativeFrame("00 01 01 0001 000a 24 0000");
const Bytes kLeaveAll = nativeFrame("00 01 01 2000 0000 0000");

TEST(PduBudget, TakesSoManyAtOnceAndThenOneForEachShareOfASecond) {
    PduBudget budget{4, 0, 0};
    u64 nowUs = 7'000'000;
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(budget.take(nowUs));
    EXPECT_FALSE(budget.take(nowUs));
    EXPECT_FALSE(budget.take(nowUs + 249'999));
    EXPECT_TRUE(budget.take(nowUs + 250'000));
    EXPECT_FALSE(budget.take(nowUs + 250'000));
    nowUs += 60'000'000;
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(budget.take(nowUs)) << "silence saves up a second's, not more";
    EXPECT_FALSE(budget.take(nowUs));
}

TEST(PduBudget, EveryNumberIsWhatItSays) {
    for (const u32 perSecond : {1U, 3U, 7U, 100U, 4094U, 1'000'000U}) {
        PduBudget budget{perSecond, 0, 0};
        u32 taken = 0;
        while (taken <= perSecond && budget.take(5'000'000))
            ++taken;
        EXPECT_EQ(taken, perSecond);
    }
}

TEST(PduBudget, NoneIsNoLimit) {
    PduBudget budget;
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(budget.take(1));
}

/// Port 3 of one is cabled to port 3 of the other.
class Ask : public ::testing::Test {
  protected:
    void start(bool whenForwarding, u32 maxPdus = 0) {
        SwitchConfig config = smallSwitch();
        config.askWhenForwarding = whenForwarding;
        for (PortConfig& port : config.ports)
            port.maxPdus = maxPdus;
        std::string error;
        ASSERT_TRUE(left_.net.start(config, error)) << error;
        right_.start();
        left_.plug(kPort, "unix:" + a_ + "," + b_);
        right_.plug(kPort, "unix:" + b_ + "," + a_);
        left_.soft.setLinkListener([this](u32 unit) { left_.net.linkCameUp(unit); });
        right_.enable(kPort);
    }
    /// A LeaveAll of the left node, whose port has this address.
    Bytes leaveAll(Bytes frame = kLeaveAll) {
        PortState state{};
        EXPECT_TRUE(left_.soft.portState(kPort, state));
        std::ranges::copy(state.mac, frame.begin() + 6);
        return frame;
    }
    /// All that was asked until now has been done: what is asked next is done after it.
    void awaitAsks() {
        left_.enable(kOther);
        left_.net.ask(kOther, true);
        EXPECT_EQ(left_.receive(left_.mvrp).unit, kOther);
    }
    u64 sent() { return left_.net.counters(kPort).framesOut; }

    ScratchDirectory directory_;
    const std::string a_ = directory_.path("a");
    const std::string b_ = directory_.path("b");
    NetNode left_;
    NetNode right_;
};

TEST_F(Ask, IsALeaveAllOfThePort) {
    start(false);
    left_.enable(kPort);
    left_.net.ask(kPort, false);
    EXPECT_EQ(right_.receive(right_.mvrp).frame, leaveAll());
    EXPECT_TRUE(await([this] { return sent() == 1; }));
    awaitAsks();
    EXPECT_TRUE(left_.receive(left_.mvrp, false).frame.empty()) << "the daemon heard nothing";
}

TEST_F(Ask, IsInTheFormThatThePortSpeaks) {
    start(false);
    left_.enable(kPort);
    left_.net.setWireForm(kPort, WireForm::Ieee);
    left_.net.ask(kPort, false);
    EXPECT_EQ(right_.receive(right_.mvrp).frame, leaveAll());
    EXPECT_EQ(right_.net.cableState(kPort).heard, static_cast<u32>(WireForm::Ieee));
}

TEST_F(Ask, IsOfTheProtocolThatThePortSpeaks) {
    start(false);
    for (NetNode* node : {&left_, &right_})
        node->enable(kPort, kProtocolGvrp);
    left_.enable(kPort);
    left_.net.ask(kPort, true);
    const Bytes asked = leaveAll(gvrpFrame("0001 01 02 00 00 00"));
    EXPECT_EQ(right_.receive(right_.gvrp).frame, asked);
    const Received own = left_.receive(left_.gvrp);
    EXPECT_EQ(own.frame, asked);
    EXPECT_EQ(own.pduOffset, 17U);
}

TEST_F(Ask, IsHeardByTheDaemonWhenItIsToRenew) {
    start(false);
    left_.enable(kPort);
    left_.net.ask(kPort, true);
    const Received own = left_.receive(left_.mvrp);
    EXPECT_EQ(own.unit, kPort);
    EXPECT_EQ(own.pduOffset, 22U);
    EXPECT_EQ(own.frame, leaveAll());
}

TEST_F(Ask, OfAPortThatTakesNoPartSendsNothing) {
    start(true);
    left_.net.ask(kPort, true);
    awaitAsks();
    EXPECT_EQ(sent(), 0U);
}

TEST_F(Ask, OfAPortWithoutALinkSendsNothing) {
    start(true);
    left_.enable(kPort);
    left_.change(SwitchChangeKind::PortLink, kPort, 0);
    left_.net.ask(kPort, true);
    awaitAsks();
    EXPECT_EQ(sent(), 0U);
}

TEST_F(Ask, IsMadeWhenALinkComesUp) {
    start(true);
    left_.enable(kPort);
    left_.change(SwitchChangeKind::PortLink, kPort, 0);
    left_.change(SwitchChangeKind::PortLink, kPort, 1);
    EXPECT_EQ(right_.receive(right_.mvrp).frame, leaveAll());
}

TEST_F(Ask, IsMadeWhenAPortBeginsToTakePart) {
    start(true);
    left_.enable(kPort);
    left_.net.beganToTakePart(kPort);
    EXPECT_EQ(right_.receive(right_.mvrp).frame, leaveAll());
    EXPECT_EQ(left_.receive(left_.mvrp).frame, leaveAll()) << "what is static is declared soon";
}

TEST_F(Ask, IsMadeWhenAStandbyTakesOver) {
    start(true);
    left_.soft.setRole(HostRole::Standby);
    left_.enable(kPort);
    left_.soft.setRole(HostRole::Active);
    EXPECT_EQ(right_.receive(right_.mvrp).frame, leaveAll());
}

TEST_F(Ask, IsNotMadeWhereNobodyAskedForIt) {
    start(false);
    left_.enable(kPort);
    left_.change(SwitchChangeKind::PortLink, kPort, 0);
    left_.change(SwitchChangeKind::PortLink, kPort, 1);
    left_.net.beganToTakePart(kPort);
    awaitAsks();
    EXPECT_EQ(sent(), 0U);
}

TEST_F(Ask, IsMadeWhenPdusBeyondTheBudgetHaveCalmed) {
    start(false, 1);
    left_.enable(kPort);
    while (left_.net.counters(kPort).droppedBudget == 0)
        right_.send(right_.mvrp, kPort, kJoin10);
    EXPECT_EQ(left_.receive(left_.mvrp).frame, kJoin10) << "what was within it";
    EXPECT_EQ(right_.receive(right_.mvrp).frame, leaveAll());
    Received own = left_.receive(left_.mvrp);
    while (own.frame == kJoin10)
        own = left_.receive(left_.mvrp);
    EXPECT_EQ(own.frame, leaveAll());
}

/// Of a neighbour that does not read; a second later it is tried, and again.
TEST_F(Ask, IsMadeWhenACableThatWasFullTakesFramesAgain) {
    std::string error;
    ASSERT_TRUE(left_.net.start(smallSwitch(), error)) << error;
    left_.enable(kPort);
    left_.plug(kPort, "unix:" + a_ + "," + b_);
    CableFailure failure;
    const auto neighbour = openCable({CableKind::Unix, b_, a_, ""}, {}, failure);
    ASSERT_NE(neighbour, nullptr) << failure.text;
    while (left_.send(left_.mvrp, kPort, kJoin10) > 0) {
    }
    EXPECT_EQ(left_.net.counters(kPort).sendFailed, 1U);
    ASSERT_TRUE(await([this] { return left_.net.counters(kPort).sendFailed > 2; }));
    EXPECT_TRUE(left_.receive(left_.mvrp, false).frame.empty())
        << "nobody would answer, so the daemon is not to hear it";
    const auto batch = std::make_unique<FrameBatch>();
    u64 joins = 0;
    EXPECT_TRUE(await([&] {
        const std::size_t count = batch->receiveFrom(neighbour->descriptor());
        for (std::size_t i = 0; i < count; ++i) {
            if (std::ranges::equal(batch->frame(i).bytes, leaveAll()))
                return true;
            joins += std::ranges::equal(batch->frame(i).bytes, kJoin10) ? 1 : 0;
        }
        return false;
    }));
    EXPECT_EQ(joins, sent() - 1) << "what was taken came, and before it";
    EXPECT_EQ(left_.receive(left_.mvrp).frame, leaveAll()) << "the daemon declares anew";
}

TEST(Budget, WhatIsBeyondItIsDroppedUnreadAndCounted) {
    NetNode node;
    SwitchConfig config = smallSwitch();
    config.ports[0].maxPdus = 2;
    std::string error;
    ASSERT_TRUE(node.net.reconfigure(config, error)) << error;
    node.enable(kPort);
    node.enable(kOther);
    const Bytes foreign(60, 0);
    for (int i = 0; i < 5; ++i)
        node.net.frameArrived(kPort, foreign, false);  // no PDU: costs nothing
    for (int i = 0; i < 2; ++i)
        node.net.frameArrived(kPort, kJoin10, false);
    node.net.frameArrived(kPort, nativeFrame("00 01 01 0001"), false);  // would be malformed
    node.net.frameArrived(kOther, kJoin10, false);
    const PortCountersRecord counters = node.net.counters(kPort);
    EXPECT_EQ(counters.framesIn, 2U);
    EXPECT_EQ(counters.droppedBudget, 1U);
    EXPECT_EQ(counters.ignored, 5U);
    EXPECT_EQ(counters.droppedMalformed, 0U);
    EXPECT_EQ(node.net.counters(kOther).framesIn, 1U) << "each port has its own";
}

}  // namespace
}  // namespace platform::testing
