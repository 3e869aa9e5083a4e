// SPDX-License-Identifier: MIT
#include "platform/model/vlan_ranges.h"

#include <gtest/gtest.h>

#include <random>

namespace platform {
namespace {

VlanBitmap setOf(std::initializer_list<u32> vids) {
    VlanBitmap set{};
    for (const u32 vid : vids)
        vlanInsert(set, vid);
    return set;
}

TEST(VlanRanges, SinglesRangesAndBlanksAreRead) {
    EXPECT_EQ(parseVlanRanges("1-3,7"), setOf({1, 2, 3, 7}));
    EXPECT_EQ(parseVlanRanges("4094"), setOf({4094}));
    EXPECT_EQ(parseVlanRanges("5, 3 ,4-4"), setOf({3, 4, 5}));
    EXPECT_EQ(parseVlanRanges("-"), VlanBitmap{});
    EXPECT_EQ(parseVlanRanges(""), VlanBitmap{});
}

TEST(VlanRanges, AnythingElseIsRefused) {
    for (const char* text : {"0", "4095", "1-4095", "7-3", "1,", ",1", "1--2", "a", "1-", "-1",
                             "1 2", "99999999999", "1;2", "1-3-5", "0x10"})
        EXPECT_FALSE(parseVlanRanges(text)) << text;
}

TEST(VlanRanges, ASetIsWrittenAsItsShortestRanges) {
    EXPECT_EQ(formatVlanRanges(setOf({1, 2, 3, 7, 9, 10})), "1-3,7,9-10");
    EXPECT_EQ(formatVlanRanges(VlanBitmap{}), "-");
    EXPECT_EQ(formatVlanRanges(vlanRange(1, 4094)), "1-4094");
    EXPECT_EQ(formatVlanRanges(vlanRange(4090, 4096)), "4090-4096");
}

TEST(VlanRanges, WhatIsWrittenIsReadBack) {
    std::mt19937 engine(11);
    const auto random = [&engine] { return static_cast<u32>(engine()); };
    for (int round = 0; round < 200; round++) {
        VlanBitmap set{};
        const u32 count = random() % 200;
        for (u32 index = 0; index < count; index++)
            vlanInsert(set, kFirstVlan + random() % kLastVlan);
        EXPECT_EQ(parseVlanRanges(formatVlanRanges(set)), set);
    }
}

TEST(VlanRanges, VlansOutsideTheBitmapAreNeverInIt) {
    VlanBitmap set{};
    vlanInsert(set, 0);
    vlanInsert(set, 4097);
    EXPECT_EQ(set, VlanBitmap{});
    set.fill(0xFF);
    EXPECT_FALSE(vlanContains(set, 0));
    EXPECT_FALSE(vlanContains(set, 4097));
    vlanErase(set, 4097);
    vlanErase(set, 1);
    EXPECT_EQ(set[0], 0x7F);
}

}  // namespace
}  // namespace platform
