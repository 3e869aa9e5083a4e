// SPDX-License-Identifier: MIT
#include "platform/runtime/log_limit.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using std::chrono::seconds;

class Limits : public testing::Test {
  protected:
    bool says(u32 left) { return limit_.mayLog(now_) == left; }

    LogLimit limit_;
    LogLimit::Clock::time_point now_{seconds(1000)};
};

TEST_F(Limits, AFewLinesAtOnceThenOneEachPauseWithTheCountOfTheOthers) {
    for (u32 line = 0; line < LogLimit::kBurst; line++)
        EXPECT_TRUE(says(0));
    for (u32 line = 0; line < 1000; line++)
        EXPECT_FALSE(limit_.mayLog(now_));
    now_ += LogLimit::kPause;
    EXPECT_TRUE(says(1000));
    EXPECT_FALSE(limit_.mayLog(now_));
    now_ += LogLimit::kPause;
    EXPECT_TRUE(says(1));
}

TEST_F(Limits, SilenceBringsTheFirstLinesBack) {
    for (u32 line = 0; line <= LogLimit::kBurst; line++)
        limit_.mayLog(now_);
    now_ += LogLimit::kPause * LogLimit::kBurst;
    EXPECT_TRUE(says(1));
    for (u32 line = 1; line < LogLimit::kBurst; line++)
        EXPECT_TRUE(says(0));
    EXPECT_FALSE(limit_.mayLog(now_));
}

TEST_F(Limits, TheCountIsSaidOnlyWhereThereIsOne) {
    EXPECT_EQ(LogLimit::leftOut(0), "");
    EXPECT_EQ(LogLimit::leftOut(3), "; 3 more like it are not in the log");
}

}  // namespace
}  // namespace platform
