// SPDX-License-Identifier: MIT
#include "platform/runtime/console.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

namespace platform {
namespace {

constexpr std::size_t kRoom = 4096;

TEST(Console, WhatIsPrintedIsKeptAndShown) {
    testing::internal::CaptureStdout();
    std::string kept;
    {
        const ConsoleCapture capture(kRoom);
        std::printf("port %u\n\r", 3U);
        std::printf("link %s", "up");
        kept = capture.text();
    }
    EXPECT_EQ(kept, "port 3\n\rlink up");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kept);
}

TEST(Console, AnErrorIsKeptWithItsReason) {
    testing::internal::CaptureStderr();
    const ConsoleCapture capture(kRoom);
    errno = ENOENT;
    std::perror("dbg sock bind failed!\n\r");
    EXPECT_EQ(capture.text(), "dbg sock bind failed!\n\r: No such file or directory\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), capture.text());
}

TEST(Console, WithoutACaptureOrInAnotherThreadNothingIsKept) {
    testing::internal::CaptureStdout();
    std::printf("before");
    const ConsoleCapture capture(kRoom);
    std::thread([] { std::printf("elsewhere"); }).join();
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "beforeelsewhere");
}

TEST(Console, MoreThanTheRoomIsCutWithANote) {
    testing::internal::CaptureStdout();
    const ConsoleCapture capture(100);
    for (int line = 0; line < 50; line++)
        std::printf("line %d\n", line);
    EXPECT_LE(capture.text().size(), 100U);
    EXPECT_TRUE(capture.text().ends_with(kCaptureCut));
    EXPECT_TRUE(testing::internal::GetCapturedStdout().ends_with("line 49\n"));
}

}  // namespace
}  // namespace platform
