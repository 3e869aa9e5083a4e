// SPDX-License-Identifier: MIT
#include "network/plan/reach.h"

#include <gtest/gtest.h>

#include "tests/unit/network/plan_line.h"

namespace network {
namespace {

using testing::kVlan;
using testing::plannedLine;

constexpr u32 kEast = 0;
constexpr u32 kWest = 2;

/// East and west in one part, or in two.
std::shared_ptr<const Partition> parts(bool joined) {
    return std::make_shared<const Partition>(
        Partition{{kEast, kEast}, {kWest, joined ? kEast : kWest}});
}

AlikeHistory historyOf(u32 vid, std::vector<std::pair<u64, bool>> moments) {
    AlikeHistory history;
    platform::vlanInsert(history.vlans, vid);
    for (const auto& [ms, joined] : moments)
        history.connections.push_back({ms, parts(joined)});
    return history;
}

TEST(Reaches, WhatIsConnectedAllTheTimeIsNone) {
    EXPECT_TRUE(reachesOf(plannedLine(), {historyOf(kVlan, {{0, true}})}).empty());
    EXPECT_TRUE(reachesOf(plannedLine(), {historyOf(kVlan, {{0, false}})}).empty());
}

TEST(Reaches, ForGoodCountsFromTheLastTimeThatItStopped) {
    const auto list = reachesOf(
        plannedLine(), {historyOf(kVlan, {{0, true}, {100, false}, {300, true}, {700, false}})});
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].kind, ReachKind::Lost);
    EXPECT_EQ(list[0].fromMs, 700U);
    EXPECT_EQ(list[0].left, std::vector<std::string>{"east"});
    EXPECT_EQ(list[0].right, std::vector<std::string>{"west"});
}

TEST(Reaches, InterruptionsAreAddedUp) {
    const auto list = reachesOf(
        plannedLine(),
        {historyOf(kVlan, {{0, true}, {100, false}, {300, true}, {700, false}, {750, true}})});
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].kind, ReachKind::Interrupted);
    EXPECT_EQ(list[0].fromMs, 100U);
    EXPECT_EQ(list[0].forMs, 250U);
    EXPECT_EQ(list[0].times, 2U);
}

TEST(Reaches, TheWorstIsFirstAndWhatIsAlikeIsOne) {
    const auto list = reachesOf(plannedLine(), {historyOf(40, {{0, false}, {50, true}}),
                                                historyOf(30, {{0, true}, {20, false}}),
                                                historyOf(31, {{0, true}, {20, false}})});
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].kind, ReachKind::Lost);
    EXPECT_EQ(list[0].vlans, platform::vlanRange(30, 31));
    EXPECT_EQ(list[1].kind, ReachKind::Connected);
    EXPECT_EQ(list[1].fromMs, 50U);
}

}  // namespace
}  // namespace network
