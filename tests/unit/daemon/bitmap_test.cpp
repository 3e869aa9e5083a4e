// SPDX-License-Identifier: MIT
#include "daemon/base/bitmap.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <utility>
#include <vector>

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

std::vector<std::pair<u32, u32>> runsBitByBit(const MvrpVlanBitmap& bitmap) {
    std::vector<std::pair<u32, u32>> runs;
    for (u32 index = 0; index < kMvrpBitmapBits; ++index) {
        if (mvrpBitTest(bitmap.data(), index) == 0)
            continue;
        if (index == 0 || mvrpBitTest(bitmap.data(), index - 1) == 0)
            runs.emplace_back(index, 0);
        ++runs.back().second;
    }
    return runs;
}

void expectRuns(const MvrpVlanBitmap& bitmap) {
    MvrpBitRuns found;
    const u32 count = mvrpBitmapRuns(bitmap, &found);
    std::vector<std::pair<u32, u32>> runs;
    for (const MvrpBitRun run : std::span(found).first(count))
        runs.emplace_back(run.index, run.count);
    EXPECT_EQ(runs, runsBitByBit(bitmap));
}

TEST(Bitmap, RunsAreThoseFoundBitByBit) {
    expectRuns({});
    MvrpVlanBitmap bitmap;
    for (const u8 byte : std::to_array<u8>({0xFF, 0xAA, 0x55, 0x80, 0x01, 0x7E})) {
        bitmap.fill(byte);
        expectRuns(bitmap);
    }
    std::mt19937 random(5);
    for (u32 round = 0; round < 200; ++round) {
        // Each bit follows the one before it, more or less often.
        bool set = false;
        for (u32 index = 0; index < kMvrpBitmapBits; ++index) {
            set ^= random() % (round + 2) == 0;
            set ? mvrpBitSet(bitmap.data(), index) : mvrpBitClear(bitmap.data(), index);
        }
        expectRuns(bitmap);
    }
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
