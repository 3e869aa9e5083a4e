// SPDX-License-Identifier: MIT
#include "platform/net/sockets/frame_queues.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <deque>
#include <map>
#include <optional>
#include <random>
#include <vector>

#include "platform/runtime/files/descriptor.h"

namespace platform {
namespace {

constexpr u32 kGuaranteedFrames = 8;
constexpr std::size_t kFrameBytes = 60;

/// Frames are told apart by source and number.
class Queues : public testing::Test {
  protected:
    bool push(u32 source, u32 number, std::size_t bytes = kFrameBytes) {
        FrameMeta meta;
        meta.unit = source;
        const std::vector<u8> frame(bytes, static_cast<u8>(number));
        return queues_.push(source, meta, frame);
    }
    /// @return source and number of the next frame; nothing when none waits
    std::optional<std::pair<u32, u32>> pop() {
        FrameMeta meta;
        std::array<u8, FrameRing::kLongestFrame> frame{};
        if (queues_.pop(meta, frame) < 0)
            return std::nullopt;
        return std::pair{meta.unit, u32{frame[0]}};
    }
    bool isReadable() const {
        pollfd item = {ready_.get(), POLLIN, 0};
        return poll(&item, 1, 0) == 1;
    }
    using Frame = std::pair<u32, u32>;

    const Descriptor ready_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    FrameQueues queues_{ready_.get(), {kGuaranteedFrames, 0}};
};

TEST_F(Queues, OneSourcesFramesStayInTheirOrder) {
    for (u32 number = 0; number < 5; ++number)
        ASSERT_TRUE(push(3, number));
    for (u32 number = 0; number < 5; ++number)
        EXPECT_EQ(pop(), Frame(3, number));
    EXPECT_EQ(pop(), std::nullopt);
}

TEST_F(Queues, SourcesTakeTurns) {
    for (u32 number = 0; number < 4; ++number)
        ASSERT_TRUE(push(3, number));
    ASSERT_TRUE(push(7, 0));
    ASSERT_TRUE(push(5, 0));
    ASSERT_TRUE(push(5, 1));
    for (const Frame& expected :
         {Frame(3, 0), Frame(7, 0), Frame(5, 0), Frame(3, 1), Frame(5, 1), Frame(3, 2)})
        EXPECT_EQ(pop(), expected);
    ASSERT_TRUE(push(7, 1)) << "who comes again is behind the others";
    EXPECT_EQ(pop(), Frame(3, 3));
    EXPECT_EQ(pop(), Frame(7, 1));
    EXPECT_EQ(pop(), std::nullopt);
}

TEST_F(Queues, AFullOneTakesNothingFromAnother) {
    u32 taken = 0;
    while (push(3, taken))
        ++taken;
    EXPECT_EQ(taken, kGuaranteedFrames);
    for (u32 number = 0; number < kGuaranteedFrames; ++number)
        ASSERT_TRUE(push(4, number));
    EXPECT_FALSE(push(4, 0));
    EXPECT_EQ(pop(), Frame(3, 0));
    EXPECT_TRUE(push(3, taken)) << "there is room again";
}

TEST_F(Queues, LimitIsThatOfEachSource) {
    constexpr std::size_t kLimit = 20 * kFrameBytes;
    queues_.setLimit(kLimit);
    u32 first = 0;
    while (push(3, first))
        ++first;
    u32 second = 0;
    while (push(4, second))
        ++second;
    EXPECT_GT(first, kGuaranteedFrames);
    EXPECT_LE(first * kFrameBytes, kLimit);
    EXPECT_EQ(second, first);
}

TEST_F(Queues, TheBytesThatWaitAreThoseOfAll) {
    push(3, 0, 60);
    push(4, 0, 70);
    push(3, 1, 80);
    EXPECT_EQ(queues_.waitingBytes(), 210U);
    pop();
    EXPECT_EQ(queues_.waitingBytes(), 150U);
    pop();
    pop();
    EXPECT_EQ(queues_.waitingBytes(), 0U);
    EXPECT_TRUE(queues_.isEmpty());
}

TEST_F(Queues, DescriptorIsReadableWhileAnythingWaits) {
    EXPECT_FALSE(isReadable());
    push(3, 0);
    push(4, 0);
    EXPECT_TRUE(isReadable());
    pop();
    EXPECT_TRUE(isReadable());
    pop();
    EXPECT_FALSE(isReadable());
    push(4, 1);
    EXPECT_TRUE(isReadable());
}

TEST_F(Queues, AFrameThatIsTooLongIsRefusedAndLeavesNothing) {
    EXPECT_FALSE(push(3, 0, FrameRing::kLongestFrame + 1));
    EXPECT_TRUE(queues_.isEmpty());
    EXPECT_EQ(pop(), std::nullopt);
    EXPECT_TRUE(push(3, 1, FrameRing::kLongestFrame));
    EXPECT_EQ(pop(), Frame(3, 1));
}

TEST_F(Queues, ASmallBufferCutsTheFrameAndCountsAllOfIt) {
    push(3, 0, 100);
    FrameMeta meta;
    std::array<u8, 10> small{};
    EXPECT_EQ(queues_.pop(meta, small), 100);
    EXPECT_EQ(queues_.waitingBytes(), 0U);
}

/// Among sources of which many share a bucket.
TEST_F(Queues, KeepEachSourcesOrderWhateverComes) {
    std::mt19937 random(1);
    std::map<u32, std::deque<u32>> expected;
    u32 number = 0;
    for (int step = 0; step < 100'000; ++step) {
        const u32 source = 1 + 64 * static_cast<u32>(random() % 40);
        if (random() % 2 == 0) {
            const bool fits = expected[source].size() < kGuaranteedFrames;
            ASSERT_EQ(push(source, ++number & 0xFF), fits);
            if (fits)
                expected[source].push_back(number & 0xFF);
        } else if (const auto frame = pop()) {
            std::deque<u32>& mine = expected[frame->first];
            ASSERT_FALSE(mine.empty());
            ASSERT_EQ(frame->second, mine.front());
            mine.pop_front();
        }
    }
    for (const auto& [source, frames] : expected)
        for (std::size_t left = frames.size(); left != 0; --left)
            ASSERT_TRUE(pop());
    EXPECT_EQ(pop(), std::nullopt);
    EXPECT_EQ(queues_.waitingBytes(), 0U);
}

}  // namespace
}  // namespace platform
