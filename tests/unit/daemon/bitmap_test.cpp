// SPDX-License-Identifier: MIT
#include "daemon/base/bitmap.h"

#include <gtest/gtest.h>

#include "daemon/db/port.h"

namespace {

TEST(Bitmap, FirstIndexIsTheMostSignificantBitOfTheFirstByte) {
    MvrpVlanBitmap bitmap = {};
    mvrpBitSet(bitmap.data(), 0);
    EXPECT_EQ(bitmap[0], 0x80);
    EXPECT_EQ(mvrpBitTest(bitmap.data(), 0), 1U);
    EXPECT_EQ(mvrpBitTest(bitmap.data(), 1), 0U);
}

TEST(Bitmap, LastIndexIsTheLeastSignificantBitOfTheLastByte) {
    MvrpVlanBitmap bitmap = {};
    mvrpBitSet(bitmap.data(), 4095);
    EXPECT_EQ(bitmap[511], 0x01);
}

TEST(Bitmap, ClearTakesOutOneBitOnly) {
    MvrpVlanBitmap bitmap;
    bitmap.fill(0xFF);
    mvrpBitClear(bitmap.data(), 12);
    EXPECT_EQ(bitmap[1], 0xF7);
    EXPECT_EQ(mvrpBitTest(bitmap.data(), 12), 0U);
    EXPECT_EQ(mvrpBitTest(bitmap.data(), 11), 1U);
}

TEST(Bitmap, FlagByteIndexesAreAppliedAddAndRemove) {
    u8 flag = 0;
    mvrpBitSet(&flag, MVRP_FLAG_APPLIED);
    EXPECT_EQ(flag, 0x80);
    mvrpBitSet(&flag, MVRP_FLAG_ADD);
    EXPECT_EQ(flag, 0xC0);
    mvrpBitSet(&flag, MVRP_FLAG_REMOVE);
    EXPECT_EQ(flag, 0xE0);
}

TEST(Bitmap, IntersectionCoversWholeBytes) {
    MvrpVlanBitmap a;
    MvrpVlanBitmap b = {};
    a.fill(0xF0);
    b[0] = 0x3C;
    b[511] = 0xFF;
    MvrpVlanBitmap both;
    both.fill(0xAA);
    mvrpBitmapIntersect(both, a, b, kMvrpBitmapBits);
    EXPECT_EQ(both[0], 0x30);
    EXPECT_EQ(both[1], 0x00);
    EXPECT_EQ(both[511], 0xF0);
}

TEST(Bitmap, IntersectionMasksATrailingPartialByteAndLeavesTheRest) {
    const std::array<u8, 3> a = {0xFF, 0xFF, 0xFF};
    std::array<u8, 3> both = {0x11, 0x22, 0x33};
    mvrpBitmapIntersect(both, a, a, 11);
    EXPECT_EQ(both[0], 0xFF);
    EXPECT_EQ(both[1], 0xE0);
    EXPECT_EQ(both[2], 0x33);
}

}  // namespace
