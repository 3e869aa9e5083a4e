// SPDX-License-Identifier: MIT
//
// What waits for a standby: how many lists of a port, which, and in which order.
#include "platform/replication/outbox.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

constexpr u32 kMostPorts = 4;

VlanList list(VlanListKind kind, u32 unit, u8 mark) {
    VlanList bytes{};
    bytes[0] = static_cast<u8>(kind);
    bytes[6] = static_cast<u8>(unit >> 8U);
    bytes[7] = static_cast<u8>(unit);
    bytes.back() = mark;
    return bytes;
}

VlanList applied(u32 unit, u8 mark) {
    return list(VlanListKind::Applied, unit, mark);
}

VlanList notApplied(u32 unit, u8 mark) {
    return list(VlanListKind::NotApplied, unit, mark);
}

/// All that waits, as "+UNIT:MARK" and "-UNIT:MARK".
std::string taken(Outbox& outbox) {
    std::string text;
    VlanList list{};
    while (outbox.take(list))
        text += (list[0] == static_cast<u8>(VlanListKind::Applied) ? " +" : " -") +
                std::to_string(list[6] * 256 + list[7]) + ":" + std::to_string(list.back());
    return text;
}

TEST(Outbox, ListsGoInTheOrderOfTheirPorts) {
    Outbox outbox(kMostPorts);
    EXPECT_TRUE(outbox.put(applied(3, 1)));
    EXPECT_TRUE(outbox.put(applied(300, 2)));
    EXPECT_TRUE(outbox.put(notApplied(1, 3)));
    EXPECT_EQ(taken(outbox), " +3:1 +300:2 -1:3");
    EXPECT_TRUE(outbox.empty());
}

TEST(Outbox, TheNewestListOfAPortReplacesAnOlderOneAndKeepsItsPlace) {
    Outbox outbox(kMostPorts);
    outbox.put(applied(3, 1));
    outbox.put(applied(9, 2));
    outbox.put(applied(3, 3));
    outbox.put(applied(3, 4));
    EXPECT_EQ(taken(outbox), " +3:4 +9:2");
}

TEST(Outbox, ARemovalOutlivesTheAdditionsThatFollowIt) {
    Outbox outbox(kMostPorts);
    outbox.put(notApplied(3, 1));
    outbox.put(applied(3, 2));
    outbox.put(applied(3, 3));
    EXPECT_EQ(taken(outbox), " -3:1 +3:3");
}

TEST(Outbox, AnOlderAdditionNeverFollowsANewerRemoval) {
    Outbox outbox(kMostPorts);
    outbox.put(notApplied(3, 1));
    outbox.put(applied(3, 2));
    outbox.put(notApplied(3, 3));
    EXPECT_EQ(taken(outbox), " +3:2 -3:3");
    outbox.put(applied(3, 4));
    outbox.put(notApplied(3, 5));
    outbox.put(applied(3, 6));
    EXPECT_EQ(taken(outbox), " -3:5 +3:6");
}

TEST(Outbox, BetweenTwoListsOfAPortNewerOnesAreTaken) {
    Outbox outbox(kMostPorts);
    outbox.put(notApplied(3, 1));
    outbox.put(applied(3, 2));
    VlanList first{};
    ASSERT_TRUE(outbox.take(first));
    outbox.put(applied(3, 3));
    EXPECT_EQ(taken(outbox), " +3:3");
}

TEST(Outbox, WithTooManyPortsTheLongestWaitingGoesAndIsCounted) {
    Outbox outbox(kMostPorts);
    outbox.put(notApplied(1, 0));
    outbox.put(applied(1, 1));
    for (u32 unit = 2; unit <= kMostPorts + 1; unit++)
        outbox.put(applied(unit, 1));
    EXPECT_EQ(outbox.dropped(), 2U);
    EXPECT_EQ(taken(outbox), " +2:1 +3:1 +4:1 +5:1");
    for (u32 unit = 1; unit <= kMostPorts; unit++)
        outbox.put(applied(unit, 2));
    EXPECT_EQ(outbox.dropped(), 2U);
}

TEST(Outbox, WhatIsNoListIsNotKept) {
    Outbox outbox(kMostPorts);
    EXPECT_FALSE(outbox.put({}));
    VlanList unknown = applied(1, 1);
    EXPECT_FALSE(outbox.put(std::span(unknown).first(kVlanListBytes - 1)));
    unknown[0] = 4;
    EXPECT_FALSE(outbox.put(unknown));
    EXPECT_TRUE(outbox.empty());
}

TEST(Outbox, IsEmptyAfterItWasCleared) {
    Outbox outbox(kMostPorts);
    for (u32 unit = 1; unit <= kMostPorts; unit++)
        outbox.put(applied(unit, 1));
    outbox.clear();
    EXPECT_TRUE(outbox.empty());
    for (u32 unit = 1; unit <= kMostPorts; unit++)
        outbox.put(applied(unit, 2));
    EXPECT_EQ(taken(outbox), " +1:2 +2:2 +3:2 +4:2");
    EXPECT_EQ(outbox.dropped(), 0U);
}

}  // namespace
}  // namespace platform
