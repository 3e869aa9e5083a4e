// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/unit/network/line.h"

namespace network::testing {
namespace {

std::vector<std::string> cablesOf(const Network& network) {
    std::vector<std::string> names;
    for (const Cable& cable : network.cables)
        names.push_back(nameOf(network, cable));
    return names;
}

using Names = std::vector<std::string>;
const Names kLine = {"east:e1 - middle:m2", "middle:m1 - west:w1"};

TEST(Join, PortsThatHearEachOther) {
    const Network network = joinNetwork(lineOfThree(), {});
    EXPECT_EQ(cablesOf(network), kLine);
    EXPECT_TRUE(network.cables[0].evidence.bothWays());
    EXPECT_TRUE(network.strangers.empty());
    EXPECT_TRUE(network.problems.empty());
}

TEST(Join, WhatOneEndSaysIsAQuestion) {
    std::vector<Switch> switches = lineOfThree();
    at(switches, "east", 0).neighbours.clear();
    at(switches, "east", 0).heardLast = 0;
    const Network network = joinNetwork(switches, {});
    EXPECT_EQ(cablesOf(network), kLine);
    EXPECT_FALSE(network.cables[0].evidence.isSure());
}

TEST(Join, UnknownNeighboursStayAsSuch) {
    std::vector<Switch> switches = lineOfThree();
    switches.erase(switches.begin());
    const Network network = joinNetwork(switches, {});
    EXPECT_EQ(cablesOf(network), Names{"middle:m1 - west:w1"});
    ASSERT_EQ(network.strangers.size(), 1U);
    EXPECT_EQ(network.strangers[0].mac, 0xE1U);
    EXPECT_EQ(macText(network.strangers[0].mac), "00:00:00:00:00:e1");
}

TEST(Join, TwoWithTheSameAddressesAreALineAndJoinNothing) {
    std::vector<Switch> switches = lineOfThree();
    switches.push_back(switchOf("copy", {portOf("e1", 0xE1, 0)}, false));
    const Network network = joinNetwork(switches, {});
    ASSERT_EQ(network.problems.size(), 1U);
    EXPECT_NE(network.problems[0].find("east and copy"), std::string::npos);
    EXPECT_EQ(cablesOf(network), kLine) << "east hears middle, whose addresses are its own";
    EXPECT_FALSE(network.cables[0].evidence.bothWays());
}

TEST(Join, LldpAndSocketsThatNameEachOther) {
    std::vector<Switch> switches = lineOfThree();
    for (Switch& each : switches)
        for (Port& port : each.ports)
            port.neighbours.clear(), port.heardLast = 0;
    for (Switch& each : switches)
        if (each.name == "east")
            each.lldp.push_back({"e1", "middle", "m2", 0});
    at(switches, "middle", 0).cable = "unix:/a,/b";
    at(switches, "west", 0).cable = "unix:/b,/a";
    EXPECT_EQ(cablesOf(joinNetwork(switches, {})), Names{kLine[0]}) << "on two machines";
    for (Switch& each : switches)
        if (each.name == "west")
            each.hostName = "middle";
    EXPECT_EQ(cablesOf(joinNetwork(switches, {})), kLine);
}

TEST(Join, ASwitchThatTakesNoPartHandsOnAndIsNotSkipped) {
    std::vector<Switch> switches = lineOfThree();
    for (Switch& each : switches)
        if (each.name == "middle")
            each.enabled = false;
    at(switches, "west", 0).neighbours.push_back({0xE1, false, 10, false});
    at(switches, "east", 0).neighbours.push_back({0xF1, false, 10, false});
    EXPECT_EQ(cablesOf(joinNetwork(switches, {})), kLine);
}

TEST(Join, APortThatTakesNoPartHandsOnToTheOthersOfItsSwitch) {
    std::vector<Switch> switches = lineOfThree();
    at(switches, "middle", 0).enabled = false;
    at(switches, "east", 0).neighbours.push_back({0xF1, false, 10, false});
    EXPECT_EQ(cablesOf(joinNetwork(switches, {})), kLine);
}

TEST(Join, WhatWasHeardThroughASwitchThatTakesPartAgainIsOver) {
    std::vector<Switch> switches = lineOfThree();
    // West and east heard each other while middle took no part; since then a LeaveAll has passed,
    // or not.
    for (const auto& [where, mac] : {std::pair("west", Mac{0xE1}), std::pair("east", Mac{0xF1})})
        at(switches, where, 0).neighbours.push_back({mac, false, 15'700, false});
    const Network later = joinNetwork(switches, {});
    EXPECT_EQ(cablesOf(later), kLine);
    EXPECT_TRUE(later.switches[0].ports[0].neighbours[1].lost);
    EXPECT_FALSE(later.switches[0].ports[0].neighbours[0].lost);
    at(switches, "west", 0).neighbours[1].ageMs = 15'500;
    EXPECT_EQ(joinNetwork(switches, {}).cables.size(), 3U);
}

TEST(Join, ACableThatWasMovedIsNotThereAnyMore) {
    std::vector<Switch> switches = lineOfThree();
    switches.push_back(switchOf("old", {portOf("o1", 0x01, 0xF1)}, false));
    at(switches, "old", 0).neighbours[0].lost = true;
    EXPECT_EQ(cablesOf(joinNetwork(switches, {})), kLine);
}

}  // namespace
}  // namespace network::testing
