// SPDX-License-Identifier: MIT
#include "network/plan/phases.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/network/plan_line.h"

namespace network {
namespace {

using testing::at;
using testing::placeOf;
using testing::plannedLine;
using testing::plannedSwitches;

constexpr u64 kEveryMs = 10'000;  // of all ports of the line

class PhasesOfALine : public ::testing::Test {
  protected:
    void sent(const std::string& name, std::size_t port, u64 agoMs) {
        at(switches, name, port).leaveAllSentMs = agoMs;
    }
    void heard(const std::string& name, std::size_t port, u64 agoMs) {
        at(switches, name, port).leaveAllHeardMs = agoMs;
    }
    Switch& switchOf(const std::string& name) {
        return *std::ranges::find(switches, name, &Switch::name);
    }
    /// Of a port by its name, where it is known.
    std::optional<LeaveAllPhase> phaseOf(const std::string& name) {
        const Network network = plannedLine(switches);
        phases = phasesOf(network);
        const auto found =
            std::ranges::find(phases.ports, placeOf(network, name), &LeaveAllPhase::at);
        return found == phases.ports.end() ? std::nullopt : std::optional(*found);
    }

    std::vector<Switch> switches = plannedSwitches();
    Phases phases;
};

TEST_F(PhasesOfALine, SnapshotsThatDoNotTellLeaveAllUnknown) {
    EXPECT_FALSE(phaseOf("w1").has_value());
    EXPECT_TRUE(phases.ports.empty());
    EXPECT_EQ(phases.running, 4U);
    EXPECT_EQ(phases.momentMs, testing::kTakenMs);
    EXPECT_FALSE(phases.apply[0].has_value());
}

TEST_F(PhasesOfALine, TheLastLeaveAllOfACableStartsBothTimers) {
    sent("west", 0, 3000);
    heard("west", 0, 13'000);
    sent("middle", 0, 13'000);
    heard("middle", 0, 2999);
    const auto west = phaseOf("w1");
    const auto middle = phaseOf("m1");
    ASSERT_TRUE(west && middle);
    EXPECT_EQ(west->nextMs, kEveryMs - 3000);
    EXPECT_TRUE(west->leads);  // who sent the last sends the next
    EXPECT_EQ(middle->nextMs, kEveryMs - 2999);
    EXPECT_FALSE(middle->leads);
    EXPECT_EQ(middle->lastMs, 2999U);
    EXPECT_FALSE(phaseOf("m2").has_value());
}

TEST_F(PhasesOfALine, AMillisecondOfRoundingDoesNotSwapTheEnds) {
    sent("west", 0, 3000);
    heard("middle", 0, 3001);
    EXPECT_TRUE(phaseOf("w1")->leads);
    EXPECT_FALSE(phaseOf("m1")->leads);
    EXPECT_GE(phaseOf("m1")->nextMs, phaseOf("w1")->nextMs);
}

TEST_F(PhasesOfALine, TheShorterTimeLeads) {
    at(switches, "middle", 0).leaveAllMs = 5000;
    sent("west", 0, 1000);
    heard("middle", 0, 1000);
    EXPECT_TRUE(phaseOf("m1")->leads);
    EXPECT_EQ(phaseOf("m1")->nextMs, 4000U);
    EXPECT_EQ(phaseOf("w1")->nextMs, 9000U);
}

TEST_F(PhasesOfALine, AnOlderSnapshotGoesByWhatTheOtherEndTells) {
    // West was looked at 4 s before middle, which heard a LeaveAll of it since then.
    switchOf("west").takenMs -= 4000;
    sent("west", 0, 7000);
    heard("middle", 0, 1000);
    const auto west = phaseOf("w1");
    ASSERT_TRUE(west);
    EXPECT_TRUE(west->leads);
    EXPECT_EQ(west->lastMs, 1000U);
    EXPECT_EQ(west->nextMs, kEveryMs - 1000);
}

TEST_F(PhasesOfALine, LeaveAllsThatCameAfterAnOldSnapshotArePassed) {
    switchOf("west").takenMs -= 25'000;
    switchOf("middle").takenMs -= 25'000;
    sent("west", 0, 2000);
    heard("middle", 0, 2000);
    // 27, 17 and 7 s before the newest snapshot.
    EXPECT_EQ(phaseOf("w1")->lastMs, 7000U);
    EXPECT_EQ(phaseOf("w1")->nextMs, 3000U);
}

TEST_F(PhasesOfALine, ALeaveAllOfLongAgoSaysNothing) {
    sent("west", 0, kEveryMs + 1001);
    EXPECT_FALSE(phaseOf("w1").has_value());
    sent("west", 0, kEveryMs + 30);  // about to be sent
    EXPECT_EQ(phaseOf("w1")->nextMs, 0U);
    sent("west", 0, kEveryMs + 31);
    EXPECT_EQ(phaseOf("w1")->nextMs, kEveryMs - 31);
    EXPECT_EQ(phaseOf("w1")->lastMs, 31U);
}

TEST_F(PhasesOfALine, APortThatRunsNoProtocolOrHasNoLinkIsLeftOut) {
    sent("west", 0, 1000);
    sent("middle", 0, 1000);
    at(switches, "west", 0).linkUp = false;
    at(switches, "middle", 0).enabled = false;
    EXPECT_FALSE(phaseOf("w1").has_value());
    EXPECT_FALSE(phaseOf("m1").has_value());
    EXPECT_EQ(phases.running, 2U);
}

TEST_F(PhasesOfALine, APortAloneLeadsWhenItSentTheLast) {
    std::erase_if(switches, [](const Switch& each) { return each.name == "middle"; });
    sent("west", 0, 1000);
    heard("east", 0, 1000);
    EXPECT_TRUE(phaseOf("w1")->leads);
    EXPECT_FALSE(phaseOf("e1")->leads);
}

TEST_F(PhasesOfALine, WhatIsPendingIsAppliedEverySecond) {
    switchOf("east").nextApplyMs = 400;
    switchOf("middle").takenMs -= 500;
    switchOf("middle").nextApplyMs = 700;
    switchOf("west").takenMs -= 3000;
    switchOf("west").nextApplyMs = 700;
    phaseOf("w1");
    EXPECT_EQ(phases.apply, (std::vector<std::optional<u64>>{400, 200, 700}));
}

}  // namespace
}  // namespace network
