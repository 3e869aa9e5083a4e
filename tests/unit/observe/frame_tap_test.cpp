// SPDX-License-Identifier: MIT
#include "platform/observe/frame_tap.h"

#include <gtest/gtest.h>

#include "platform/channel/protocol.h"

#include <cstring>

namespace platform {
namespace {

struct Answer {
    CaptureHeader header{};
    std::vector<CapturedFrame> frames;
    std::vector<u8> firstBytes;
};

Answer read(FrameTap& tap, u64 since) {
    std::vector<u8> reply;
    tap.read(since, reply);
    EXPECT_LE(reply.size(), kMaxValueBytes);
    Answer answer;
    std::memcpy(&answer.header, reply.data(), sizeof answer.header);
    std::size_t at = sizeof answer.header;
    for (u32 i = 0; i < answer.header.count; ++i) {
        CapturedFrame frame{};
        std::memcpy(&frame, reply.data() + at, sizeof frame);
        answer.frames.push_back(frame);
        answer.firstBytes.push_back(reply[at + sizeof frame]);
        at += sizeof frame + frame.length;
    }
    EXPECT_EQ(at, reply.size());
    return answer;
}

void add(FrameTap& tap, u8 first, std::size_t size = 60) {
    std::vector<u8> bytes(size, 0);
    bytes.front() = first;
    tap.add(3, true, bytes);
}

TEST(FrameTap, KeepsNothingUntilSomebodyCaptures) {
    FrameTap tap;
    EXPECT_FALSE(tap.active());
    add(tap, 1);
    const Answer begun = read(tap, kNever);
    EXPECT_EQ(begun.header.count, 0U);
    EXPECT_TRUE(tap.active());
}

TEST(FrameTap, GivesTheFramesAfterANumberInOrder) {
    FrameTap tap;
    const u64 since = read(tap, kNever).header.newest;
    add(tap, 1);
    add(tap, 2);
    const Answer both = read(tap, since);
    ASSERT_EQ(both.frames.size(), 2U);
    EXPECT_EQ(both.firstBytes, (std::vector<u8>{1, 2}));
    EXPECT_EQ(both.frames[0].sequence, since + 1);
    EXPECT_EQ(both.frames[0].unit, 3U);
    EXPECT_EQ(both.frames[0].sent, 1U);
    EXPECT_EQ(read(tap, since + 1).firstBytes, (std::vector<u8>{2}));
    EXPECT_EQ(read(tap, since + 2).frames.size(), 0U);
}

TEST(FrameTap, CountsWhatWasOverwrittenUnread) {
    FrameTap tap;
    const u64 since = read(tap, kNever).header.newest;
    for (int i = 0; i < 600; ++i)
        add(tap, static_cast<u8>(i));
    const Answer answer = read(tap, since);
    EXPECT_EQ(answer.header.lost, 600U - 512U);
    ASSERT_FALSE(answer.frames.empty());
    EXPECT_EQ(answer.frames[0].sequence, since + 1 + 600 - 512);
}

TEST(FrameTap, ALongAnswerGoesOnInTheNext) {
    FrameTap tap;
    u64 since = read(tap, kNever).header.newest;
    for (u8 i = 0; i < 40; ++i)
        add(tap, i, 3000);
    std::size_t seen = 0;
    for (int turns = 0; turns < 10 && seen < 40; ++turns) {
        const Answer answer = read(tap, since);
        ASSERT_FALSE(answer.frames.empty());
        EXPECT_EQ(answer.header.lost, 0U);
        EXPECT_EQ(answer.firstBytes.front(), seen);
        seen += answer.frames.size();
        since = answer.frames.back().sequence;
    }
    EXPECT_EQ(seen, 40U);
}

}  // namespace
}  // namespace platform
