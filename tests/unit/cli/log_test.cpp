// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "cli/log/log_lines.h"

namespace cli {
namespace {

/// 2026-11-22 14:30:00 UTC.
constexpr u64 kNow = 1'795'357'800'000;
constexpr u64 kMinute = 60'000;
constexpr u64 kDay = 24 * 60 * kMinute;

class Times : public testing::Test {
  protected:
    Times() {
        setenv("TZ", "UTC", 1);
        tzset();
    }
};

TEST_F(Times, ATimeThatHasPassedCountsFromNow) {
    EXPECT_EQ(parseTime("90s", kNow), kNow - 90'000);
    EXPECT_EQ(parseTime("10m", kNow), kNow - 10 * kMinute);
    EXPECT_EQ(parseTime("2h", kNow), kNow - 120 * kMinute);
    EXPECT_EQ(parseTime("3d", kNow), kNow - 3 * kDay);
    EXPECT_EQ(parseTime("100000d", kNow), 0U);
}

TEST_F(Times, ATimeOfDayIsTheLastOne) {
    EXPECT_EQ(parseTime("14:29", kNow), kNow - kMinute);
    EXPECT_EQ(parseTime("14:29:30", kNow), kNow - kMinute / 2);
    EXPECT_EQ(parseTime("14:31", kNow), kNow + kMinute - kDay);
}

TEST_F(Times, ADateMayHaveATime) {
    EXPECT_EQ(parseTime("2026-11-22", kNow), kNow - 870 * kMinute);
    EXPECT_EQ(parseTime("2026-11-21 14:30", kNow), kNow - kDay);
    EXPECT_EQ(parseTime("2026-11-21 14:30:01", kNow), kNow - kDay + 1000);
}

TEST_F(Times, AnythingElseIsNone) {
    for (const char* text : {"", "10", "m", "10x", "-1m", "25:00", "14:30:", "2026-13-01", "today",
                             "99999999999999999999s"})
        EXPECT_EQ(parseTime(text, kNow), std::nullopt) << text;
}

TEST_F(Times, ALineShowsDateTimeAndPriority) {
    LogLine line;
    line.timeMs = kNow + 123;
    line.priority = 5;
    line.text = "swp3: VLANs 10-12 learnt";
    EXPECT_EQ(logLineText(line, {}),
              "2026-11-22 14:30:00.123  notice   swp3: VLANs 10-12 learnt\n");
}

}  // namespace
}  // namespace cli
