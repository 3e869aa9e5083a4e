// SPDX-License-Identifier: MIT
#include "platform/net/replay.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

PcapFrames captureAt(std::initializer_list<u64> timesUs) {
    PcapFrames frames;
    for (const u64 timeUs : timesUs) {
        frames.records.push_back({timeUs, static_cast<u32>(frames.bytes.size()), 1});
        frames.bytes.push_back(static_cast<u8>(frames.bytes.size()));
    }
    return frames;
}

TEST(Replay, KeepsTheSpacingOfTheCapture) {
    Replay replay(captureAt({5'000, 6'000, 9'000}), 1, 100);
    EXPECT_EQ(replay.dueUs(), 100U);
    EXPECT_FALSE(replay.next(99));
    EXPECT_TRUE(replay.next(100));
    EXPECT_EQ(replay.dueUs(), 1'100U);
    EXPECT_FALSE(replay.next(1'099));
    EXPECT_TRUE(replay.next(1'100));
    EXPECT_EQ(replay.dueUs(), 4'100U);
    EXPECT_TRUE(replay.next(10'000));
    EXPECT_FALSE(replay.dueUs());
    EXPECT_FALSE(replay.next(20'000));
}

TEST(Replay, SpeedDividesTheSpacing) {
    Replay replay(captureAt({0, 1'000'000}), 10, 0);
    ASSERT_TRUE(replay.next(0));
    EXPECT_EQ(replay.dueUs(), 100'000U);
}

TEST(Replay, AsFastAsPossibleIsDueAtOnce) {
    Replay replay(captureAt({0, 1'000'000, 9'000'000}), 0, 50);
    EXPECT_FALSE(replay.next(49));
    EXPECT_TRUE(replay.next(50));
    EXPECT_TRUE(replay.next(50));
    EXPECT_TRUE(replay.next(50));
    EXPECT_FALSE(replay.next(50));
}

TEST(Replay, FramesOutOfOrderAreDueAtOnce) {
    Replay replay(captureAt({5'000, 1'000}), 1, 0);
    EXPECT_TRUE(replay.next(0));
    EXPECT_EQ(replay.dueUs(), 0U);
}

TEST(Replay, WithoutAStartNothingIsDueUntilItStarts) {
    Replay replay(captureAt({5'000, 6'000}), 1, std::nullopt);
    EXPECT_FALSE(replay.isStarted());
    EXPECT_FALSE(replay.dueUs());
    EXPECT_FALSE(replay.next(1'000'000));
    replay.start(70);
    EXPECT_TRUE(replay.isStarted());
    EXPECT_EQ(replay.dueUs(), 70U);
}

TEST(Replay, EmptyCaptureIsOver) {
    EXPECT_FALSE(Replay(captureAt({}), 1, 0).dueUs());
}

}  // namespace
}  // namespace platform
