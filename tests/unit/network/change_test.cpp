// SPDX-License-Identifier: MIT
#include "network/plan/change.h"

#include <gtest/gtest.h>

#include "tests/unit/network/plan_line.h"

namespace network {
namespace {

using testing::plannedLine;

std::string refusalOf(const ChangeWords& words) {
    try {
        readChanges(plannedLine(), words);
    } catch (const ChangeError& error) {
        return error.what();
    }
    return "allowed";
}

ChangeWords cut(const std::string& word) {
    ChangeWords words;
    words.cut = {word};
    return words;
}

TEST(Changes, ACableIsCalledByAPortOrByBothSwitches) {
    const Network network = plannedLine();
    for (const char* const word : {"west:middle", "middle:west", "west:w1", "middle:m1"}) {
        const auto changes = readChanges(network, cut(word));
        ASSERT_EQ(changes.size(), 1U) << word;
        EXPECT_EQ(changes[0].kind, ChangeKind::Cut);
        ASSERT_EQ(changes[0].cables.size(), 1U) << word;
        const Cable& cable = network.cables[changes[0].cables[0]];
        EXPECT_EQ(nameOf(network, cable), "middle:m1 - west:w1") << word;
    }
}

TEST(Changes, WhatIsNotThereIsRefusedWithWhatIs) {
    EXPECT_NE(refusalOf(cut("north:middle")).find("allowed are east, middle, west"),
              std::string::npos);
    EXPECT_NE(refusalOf(cut("west:east")).find("w1 (to middle)"), std::string::npos);
    ChangeWords words;
    words.remove = {"west:31"};
    EXPECT_NE(refusalOf(words).find("30"), std::string::npos);
    words = {};
    words.add = {"west:30"};
    EXPECT_NE(refusalOf(words).find("2-29,31-4094"), std::string::npos);
    words = {};
    words.mend = {"west:middle"};
    EXPECT_NE(refusalOf(words).find("is up already"), std::string::npos);
    words = {};
    words.times = {"west:leave=700,join=400"};
    EXPECT_NE(refusalOf(words).find("twice the join time"), std::string::npos);
}

TEST(Changes, TimesComeBeforeTheOthersAndOfThePortsThatAreMeant) {
    ChangeWords words = cut("west:middle");
    words.times = {"leave-all=20000", "middle:m2:join=300"};
    const Network network = plannedLine();
    const auto changes = readChanges(network, words);
    ASSERT_EQ(changes.size(), 3U);
    EXPECT_EQ(changes[0].kind, ChangeKind::Times);
    EXPECT_EQ(changes[0].ports.size(), 4U);
    EXPECT_EQ(changes[0].times.leaveAllMs, 20'000U);
    EXPECT_FALSE(changes[0].times.joinMs.has_value());
    ASSERT_EQ(changes[1].ports.size(), 1U);
    EXPECT_EQ(nameOf(network, changes[1].ports[0]), "middle:m2");
    EXPECT_EQ(changes[2].kind, ChangeKind::Cut);
}

TEST(Changes, SettingsOfANetworkFollowThem) {
    Network network = plannedLine();
    ChangeWords words = cut("west:middle");
    words.remove = {"west:30"};
    words.add = {"middle:40-41"};
    words.times = {"east:leave-all=20000"};
    for (const Change& change : readChanges(network, words))
        applyToSettings(network, change);
    EXPECT_FALSE(network.portOf(testing::placeOf(network, "w1")).linkUp);
    EXPECT_FALSE(network.portOf(testing::placeOf(network, "m1")).linkUp);
    EXPECT_TRUE(network.portOf(testing::placeOf(network, "m2")).linkUp);
    EXPECT_EQ(network.portOf(testing::placeOf(network, "e1")).leaveAllMs, 20'000U);
    EXPECT_FALSE(platform::vlanContains(network.switches[2].staticVlans, 30));
    EXPECT_TRUE(platform::vlanContains(network.switches[1].staticVlans, 41));
}

}  // namespace
}  // namespace network
