// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>

#include "network/map/page.h"
#include "network/map/svg.h"
#include "platform/model/vlan_algebra.h"
#include "tests/unit/network/line.h"

namespace network::testing {
namespace {

constexpr u32 kAbsent = 3000;
const char* const kHostile = "</script><img src=x onerror=alert(1)>\"'&/* the network */";

std::size_t countOf(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

double distance(Place a, Place b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

/// A drawing of a network in which nothing was found, or something.
struct Drawn {
    explicit Drawn(std::vector<Switch> switches)
        : network(joinNetwork(std::move(switches), {})),
          findings(checkNetwork(network)),
          facts(mapFacts(network, findings)) {}
    Drawing in(Room room) const { return drawingOf(facts, placesOf(network), room); }

    Network network;
    std::vector<Finding> findings;
    MapFacts facts;
};

/// The line with a permit list that leaves the VLAN out.
std::vector<Switch> brokenLine() {
    std::vector<Switch> switches = lineOfThree();
    Port& in = at(switches, "middle", 0);
    in.registered = in.member = in.learnt = in.heard = {};
    platform::vlanErase(in.permitted, kVlan);
    platform::vlanErase(at(switches, "middle", 1).declared, kVlan);
    platform::vlanErase(at(switches, "east", 0).registered, kVlan);
    return switches;
}

/// A chain of switches, long enough that the picture has to be made small.
std::vector<Switch> chainOf(std::size_t count) {
    std::vector<Switch> switches;
    for (std::size_t i = 0; i < count; ++i) {
        const Mac left = 0x1000 + 2 * i;
        switches.push_back(switchOf("chain" + std::to_string(i),
                                    {portOf("left", left, i == 0 ? 0 : left - 1),
                                     portOf("right", left + 1, i + 1 == count ? 0 : left + 2)},
                                    false));
    }
    return switches;
}

TEST(Map, ALineLiesLevelWithItsMiddleInTheMiddle) {
    const std::vector<Place> places = placesOf(Adjacency{{1}, {0, 2}, {1}});
    EXPECT_NEAR(distance(places[0], places[1]), 1, 0.01);
    EXPECT_NEAR(distance(places[0], places[2]), 2, 0.01);
    EXPECT_EQ(places[0].y, 0);
    EXPECT_NEAR(places[1].x, 0, 0.01);
}

TEST(Map, NoSwitchesOneAndTwoThatNothingJoins) {
    EXPECT_TRUE(placesOf(Adjacency{}).empty());
    EXPECT_EQ(placesOf(Adjacency{{}}).size(), 1U);
    const std::vector<Place> apart = placesOf(Adjacency{{}, {}});
    EXPECT_NEAR(distance(apart[0], apart[1]), 2, 0.01);
}

TEST(Map, EverythingLiesInsideThePictureInAWideWindowAndANarrowOne) {
    const Drawn drawn(chainOf(30));
    for (const Room room : {wideRoom(drawn.network), narrowRoom(drawn.network)}) {
        const Drawing drawing = drawn.in(room);
        EXPECT_LE(drawing.height, room.height + 1);
        for (std::size_t i = 0; i < drawing.switches.size(); ++i) {
            EXPECT_GE(drawing.switches[i].x, drawing.radius);
            EXPECT_LE(drawing.switches[i].x, room.width - drawing.radius);
            EXPECT_LE(drawing.switches[i].y, drawing.height - drawing.radius);
            EXPECT_GT(drawing.labels[i].at.x, 0);
            EXPECT_LT(drawing.labels[i].at.x, room.width);
        }
    }
    const Drawing narrow = drawn.in(narrowRoom(drawn.network));
    EXPECT_GT(narrow.height, narrow.width) << "a long network stands upright there";
}

TEST(Map, ALongNameIsCutBetweenItsLetters) {
    std::vector<Switch> switches = lineOfThree();
    switches[0].name = "\u00e4\u00f6\u00fc-0123456789-0123456789";
    EXPECT_EQ(Drawn(switches).in({1000, 400}).labels[0].text,
              "\u00e4\u00f6\u00fc-0123456789-0\u2026");
    switches[0].name = "0123456789abcdef";
    EXPECT_EQ(Drawn(switches).in({1000, 400}).labels[0].text, "0123456789abcdef");
}

TEST(Map, WhatASwitchAndAnEndOfACableLookLike) {
    std::vector<Switch> switches = lineOfThree();
    switches[1].learntVlans = vlanRange(kVlan, kVlan);
    platform::vlanErase(at(switches, "west", 0).registered, kVlan);
    const Drawn drawn(switches);
    EXPECT_STREQ(kindOf(drawn.facts.switches[0], kVlan), "static");
    EXPECT_STREQ(kindOf(drawn.facts.switches[1], kVlan), "learnt");
    EXPECT_STREQ(kindOf(drawn.facts.switches[1], kAbsent), "none");
    EXPECT_STREQ(kindOf(drawn.facts.switches[1], {}), "whole");
    EXPECT_STREQ(kindOf(drawn.facts.cables[1], 0, kVlan), "registered");
    EXPECT_STREQ(kindOf(drawn.facts.cables[1], 1, kVlan), "unasked");
    EXPECT_STREQ(kindOf(drawn.facts.cables[1], 0, kAbsent), "none");
}

TEST(Map, ANeighbourWithoutASnapshotAsksForAVlanAndIsDrawn) {
    std::vector<Switch> switches = lineOfThree();
    switches.erase(switches.begin());
    const Drawn drawn(switches);
    EXPECT_STREQ(kindOf(drawn.facts.switches[0], kVlan), "asked");
    EXPECT_EQ(countOf(svgFile(drawn.facts, kVlan), "class=\"stranger\""), 1U);
}

TEST(Map, AFindingIsMarkedAtItsEndOfTheCableAndTheCrossIsSeen) {
    const Drawn drawn(brokenLine());
    ASSERT_EQ(drawn.facts.marks.size(), 1U);
    EXPECT_EQ(nameOf(drawn.network, drawn.network.cables[drawn.facts.marks[0].at]),
              "middle:m1 - west:w1");
    EXPECT_EQ(drawn.facts.marks[0].end, 0U);
    EXPECT_EQ(tellingVlan(drawn.facts), kVlan);
    const std::string picture = svgFile(drawn.facts, kVlan);
    EXPECT_EQ(countOf(picture, "class=\"cable stops\""), 1U);
    EXPECT_EQ(countOf(picture, "class=\"mark error\""), 1U);
    EXPECT_EQ(countOf(svgFile(drawn.facts, kAbsent), "class=\"mark error aside\""), 1U);
}

TEST(Map, ACableToWhichAVlanDoesNotComeIsNoStopOfIt) {
    std::vector<Switch> switches = brokenLine();
    // What middle has from east it declares to west, and nobody asks east for it.
    at(switches, "east", 0).member = at(switches, "east", 0).registered = {};
    const Drawn drawn(switches);
    EXPECT_TRUE(platform::vlanIsEmpty(drawn.facts.cables[0].stops));
    EXPECT_FALSE(platform::vlanIsEmpty(drawn.facts.cables[1].stops));
}

TEST(Map, AFindingOfAWholeSwitchIsMarkedThere) {
    std::vector<Switch> switches = lineOfThree();
    vlanInsert(switches[2].staticVlans, 40);
    const Drawn drawn(switches);
    ASSERT_EQ(drawn.facts.marks.size(), 1U);
    EXPECT_EQ(drawn.facts.marks[0].at, 2U);
    EXPECT_FALSE(drawn.facts.marks[0].end);
    EXPECT_EQ(tellingVlan(drawn.facts), kVlan) << "a note tells nothing";
}

TEST(Map, HostileNamesStayText) {
    std::vector<Switch> switches = brokenLine();
    const Drawn harmless(switches);
    const std::string usual = mapPage(harmless.facts, kVlan);
    switches[1].name = switches[1].ports[0].name = kHostile;
    const Drawn drawn(switches);
    const std::string page = mapPage(drawn.facts, kVlan);
    for (const char* const tag : {"<script", "</script", "<svg", "<!--"})
        EXPECT_EQ(countOf(page, tag), countOf(usual, tag)) << tag;
    EXPECT_EQ(countOf(page, "<img"), 0U);
    EXPECT_EQ(countOf(svgFile(drawn.facts, kVlan), "<img"), 0U);
    EXPECT_EQ(escapeXml("<&>\"'"), "&lt;&amp;&gt;&quot;&#39;");
}

}  // namespace
}  // namespace network::testing
