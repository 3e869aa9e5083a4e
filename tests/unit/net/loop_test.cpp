// SPDX-License-Identifier: MIT
//
// Ports of one switch that are connected to each other.
#include <gtest/gtest.h>

#include <mutex>

#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

using frames::Bytes;

constexpr u32 kSender = 3;
constexpr u32 kHearer = 5;
const Bytes kJoin10 = frames::nativeFrame("00 01 01 0001 000a 24 0000");

class Loop : public ::testing::Test {
  protected:
    void start(bool guard, u64 loopTimeUs = 3'600'000'000) {
        SwitchConfig config = smallSwitch();
        config.loopGuard = guard;
        node_.net.setHold([this](u32 unit, bool held) {
            node_.soft.hold(unit, held);
            const std::lock_guard lock(mutex_);
            holds_.emplace_back(unit, held);
        });
        node_.net.setLoopTime(loopTimeUs);
        std::string error;
        ASSERT_TRUE(node_.net.start(config, error)) << error;
        node_.plug(kSender, "unix:" + a_ + "," + b_);
        node_.plug(kHearer, "unix:" + b_ + "," + a_);
        node_.enable(kSender);
        node_.enable(kHearer);
    }
    ssize_t send(u32 unit = kSender) { return node_.send(node_.mvrp, unit, kJoin10); }
    std::vector<std::pair<u32, bool>> holds() {
        const std::lock_guard lock(mutex_);
        return holds_;
    }
    bool awaitHolds(std::size_t count) {
        return await([&] { return holds().size() == count; });
    }
    bool isUp(u32 unit) {
        PortState state{};
        return node_.soft.portState(unit, state) && state.linkUp;
    }
    u64 looped() { return node_.net.counters(kHearer).droppedLoop; }

    using Holds = std::vector<std::pair<u32, bool>>;
    const Holds held_ = {{kHearer, true}};
    const Holds heldAndLetGo_ = {{kHearer, true}, {kHearer, false}};
    ScratchDirectory directory_;
    const std::string a_ = directory_.path("a");
    const std::string b_ = directory_.path("b");
    std::mutex mutex_;
    Holds holds_;  ///< guarded by mutex_
    NetNode node_;
};

TEST_F(Loop, IsDroppedAndCountedAndItsPortIsHeld) {
    start(true);
    send();
    ASSERT_TRUE(awaitHolds(1));
    EXPECT_EQ(holds(), held_);
    EXPECT_EQ(looped(), 1U);
    EXPECT_EQ(node_.net.counters(kHearer).framesIn, 0U);
    EXPECT_TRUE(node_.receive(node_.mvrp, false).frame.empty());
    EXPECT_EQ(node_.net.cableState(kHearer).loopWith, kSender);
    EXPECT_EQ(node_.net.cableState(kSender).loopWith, 0U);
    EXPECT_FALSE(isUp(kHearer));
    EXPECT_TRUE(isUp(kSender));
}

TEST_F(Loop, OfAHeldPortIsCountedStillAndItSendsNothing) {
    start(true);
    send();
    ASSERT_TRUE(awaitHolds(1));
    send();
    EXPECT_TRUE(await([this] { return looped() == 2; }));
    EXPECT_GT(send(kHearer), 0) << "as into a port without a link";
    EXPECT_EQ(node_.net.counters(kHearer).framesOut, 0U);
    node_.change(SwitchChangeKind::PortLink, kHearer, 1);
    EXPECT_FALSE(isUp(kHearer)) << "whatever else changes";
}

TEST_F(Loop, IsOverAWhileAfterItsLastFrame) {
    start(true, 1000);
    send();
    ASSERT_TRUE(awaitHolds(2));
    EXPECT_EQ(holds(), heldAndLetGo_);
    EXPECT_TRUE(isUp(kHearer));
    EXPECT_EQ(node_.net.cableState(kHearer).loopWith, 0U);
    send();
    EXPECT_TRUE(awaitHolds(4)) << "it is there still";
}

TEST_F(Loop, IsOverWithAnotherCable) {
    start(true);
    send();
    ASSERT_TRUE(awaitHolds(1));
    node_.plug(kHearer, "none");
    ASSERT_TRUE(awaitHolds(2));
    EXPECT_EQ(holds(), heldAndLetGo_);
}

TEST_F(Loop, IsOverWhenNobodyGuardsAgainstIt) {
    start(true);
    send();
    ASSERT_TRUE(awaitHolds(1));
    std::string error;
    ASSERT_TRUE(node_.net.reconfigure(smallSwitch(), error)) << error;
    ASSERT_TRUE(awaitHolds(2));
    EXPECT_EQ(holds(), heldAndLetGo_);
}

TEST_F(Loop, OfAPortThatIsForgottenHoldsItNoLonger) {
    start(true);
    send();
    ASSERT_TRUE(awaitHolds(1));
    node_.net.forget(kHearer);
    ASSERT_TRUE(awaitHolds(2));
    EXPECT_EQ(holds(), heldAndLetGo_);
}

TEST_F(Loop, OfAPortWithItselfIsOneToo) {
    start(true);
    node_.plug(kHearer, "none");
    send();
    node_.net.frameArrived(kSender, kJoin10, false);
    EXPECT_EQ(node_.net.cableState(kSender).loopWith, kSender);
    EXPECT_EQ(node_.net.counters(kSender).droppedLoop, 1U);
    EXPECT_TRUE(node_.receive(node_.mvrp, false).frame.empty());
}

TEST_F(Loop, WithoutTheGuardItsFramesAreHeardAsEver) {
    start(false);
    send();
    EXPECT_EQ(node_.receive(node_.mvrp).frame, kJoin10);
    EXPECT_EQ(looped(), 0U);
    EXPECT_TRUE(holds().empty());
}

TEST_F(Loop, IsNotWhatABlockedPortHears) {
    start(true);
    node_.change(SwitchChangeKind::PortLink, kHearer, 0);
    send();
    EXPECT_TRUE(await([this] { return node_.net.counters(kHearer).droppedDisabled == 1; }));
    EXPECT_EQ(looped(), 0U);
}

TEST_F(Loop, IsNotWhatANeighbourSends) {
    start(true);
    send();
    ASSERT_TRUE(awaitHolds(1));
    Bytes foreign = kJoin10;
    foreign[11] ^= 1U;
    node_.net.frameArrived(kSender, foreign, false);
    EXPECT_EQ(node_.receive(node_.mvrp).frame, foreign);
    EXPECT_EQ(node_.net.counters(kSender).droppedLoop, 0U);
}

}  // namespace
}  // namespace platform::testing
