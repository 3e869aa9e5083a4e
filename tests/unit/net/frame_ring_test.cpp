// SPDX-License-Identifier: MIT
#include "platform/net/sockets/frame_ring.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <vector>

namespace platform {
namespace {

class FrameRingTest : public testing::Test {
  protected:
    static constexpr u32 kGuaranteedFrames = 512;

    bool push(const FrameMeta& meta, std::span<const u8> frame) {
        return ring_.push(meta, frame, limitBytes_);
    }
    std::vector<u8> pop() {
        std::vector<u8> frame(FrameRing::kLongestFrame);
        const ssize_t length = ring_.pop(meta_, frame);
        frame.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        return frame;
    }

    std::size_t limitBytes_ = 4096;
    FrameRing ring_{kGuaranteedFrames};
    FrameMeta meta_;
};

std::vector<u8> frameOf(std::size_t size, u32 seed) {
    std::vector<u8> frame(size);
    for (std::size_t i = 0; i < size; ++i)
        frame[i] = static_cast<u8>(seed + i);
    return frame;
}

TEST_F(FrameRingTest, GivesFramesBackInOrderWithWhatCameBesideThem) {
    FrameMeta meta;
    meta.unit = 3;
    meta.protocol = 0x88F5;
    meta.pduOffset = 22;
    meta.destination = {1, 2, 3, 4, 5, 6};
    meta.source = {6, 5, 4, 3, 2, 1};
    ASSERT_TRUE(push(meta, frameOf(60, 1)));
    meta.unit = 5;
    ASSERT_TRUE(push(meta, frameOf(61, 2)));
    EXPECT_EQ(pop(), frameOf(60, 1));
    EXPECT_EQ(meta_.unit, 3U);
    EXPECT_EQ(meta_.protocol, 0x88F5);
    EXPECT_EQ(meta_.pduOffset, 22);
    EXPECT_EQ(meta_.destination, meta.destination);
    EXPECT_EQ(meta_.source, meta.source);
    EXPECT_EQ(pop(), frameOf(61, 2));
    EXPECT_EQ(ring_.pop(meta_, {}), -1);
}

TEST_F(FrameRingTest, LongestFramesFitUpToTheGuaranteedNumber) {
    u32 pushed = 0;
    while (pushed < 100'000 && push({}, frameOf(FrameRing::kLongestFrame, pushed)))
        ++pushed;
    EXPECT_EQ(pushed, kGuaranteedFrames);
    for (u32 i = 0; i < pushed; ++i)
        ASSERT_EQ(pop(), frameOf(FrameRing::kLongestFrame, i));
}

TEST_F(FrameRingTest, ByteLimitHoldsBeyondTheGuaranteedNumber) {
    limitBytes_ = 100'000;
    u32 pushed = 0;
    while (pushed < 100'000 && push({}, frameOf(60, pushed)))
        ++pushed;
    EXPECT_GT(pushed, kGuaranteedFrames);
    EXPECT_LE(pushed * 60, 100'000U);
}

TEST_F(FrameRingTest, RefusesAFrameThatIsTooLong) {
    EXPECT_FALSE(push({}, frameOf(FrameRing::kLongestFrame + 1, 0)));
    EXPECT_TRUE(ring_.isEmpty());
}

TEST_F(FrameRingTest, SmallBufferCutsTheFrameAndNotTheNext) {
    push({}, frameOf(60, 1));
    push({}, frameOf(60, 2));
    std::vector<u8> small(10);
    EXPECT_EQ(ring_.pop(meta_, small), 60);
    EXPECT_EQ(small, frameOf(10, 1));
    EXPECT_EQ(pop(), frameOf(60, 2));
}

TEST_F(FrameRingTest, APeekLeavesTheFrame) {
    EXPECT_EQ(ring_.peek(meta_, {}), -1);
    FrameMeta meta;
    meta.unit = 3;
    push(meta, frameOf(60, 1));
    std::vector<u8> frame(60);
    EXPECT_EQ(ring_.peek(meta_, frame), 60);
    EXPECT_EQ(frame, frameOf(60, 1));
    EXPECT_EQ(meta_.unit, 3U);
    EXPECT_EQ(pop(), frameOf(60, 1));
    EXPECT_TRUE(ring_.isEmpty());
}

TEST_F(FrameRingTest, KeepsOrderAroundTheEndOfItsStorage) {
    std::mt19937 random(1);
    std::deque<std::vector<u8>> expected;
    std::size_t total = 0;
    while (total < 3 * FrameRing::storageBytes(kGuaranteedFrames)) {
        const auto frame =
            frameOf(1 + random() % FrameRing::kLongestFrame, static_cast<u32>(random()));
        if (push({}, frame)) {
            total += frame.size();
            expected.push_back(frame);
        } else {
            ASSERT_GE(expected.size(), kGuaranteedFrames);
        }
        if (expected.size() > 400 && random() % 2 == 0) {
            ASSERT_EQ(pop(), expected.front());
            expected.pop_front();
        }
    }
    while (!expected.empty()) {
        ASSERT_EQ(pop(), expected.front());
        expected.pop_front();
    }
    EXPECT_TRUE(ring_.isEmpty());
}

}  // namespace
}  // namespace platform
