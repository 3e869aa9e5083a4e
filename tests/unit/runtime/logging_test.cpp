// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "platform/contract/logging.h"
#include "platform/runtime/log_book.h"
#include "platform/runtime/log_line.h"
#include "tests/unit/runtime/taken_lines.h"

namespace platform {
namespace {

std::string formatted(LogForm form, LogPriority priority, u32 logId, std::string_view text) {
    std::array<char, kMaxLogLine> line{};
    return {line.data(), formatLogLine(line.data(), form, priority, logId, text)};
}

TEST(LogLine, LineEndsOfBothConventionsAreStrippedAtBothEnds) {
    for (const char* text : {"text\r\n", "text\n\r", "\r\n text", "\r\ntext\r\n"}) {
        const std::string line = formatted(LogForm::Journal, LogPriority::Debug, 0, text);
        EXPECT_EQ(std::ranges::count(line, '\n'), 1) << text;
        EXPECT_TRUE(line.ends_with("text\n")) << text;
        EXPECT_EQ(line.find('\r'), std::string::npos) << text;
    }
}

TEST(LogLine, ControlCharactersInsideTheTextBecomeBlanks) {
    EXPECT_EQ(formatted(LogForm::Journal, LogPriority::Error, 0, "a\r\nb\x1b[0m\tc"),
              "<3>a  b [0m c\n");
}

TEST(LogLine, TheJournalGetsThePriorityAndTheConsoleItsName) {
    EXPECT_EQ(formatted(LogForm::Journal, LogPriority::Notice, 0x04040007, "x"), "<5>04040007 x\n");
    const std::string line = formatted(LogForm::Console, LogPriority::Warning, 0x04040007, "x");
    EXPECT_NE(line.find(" warning 04040007 x\n"), std::string::npos) << line;
    EXPECT_EQ(line[2], ':') << line;  // the time
}

TEST(LogLine, ALongTextIsCutToOneLine) {
    const std::string line =
        formatted(LogForm::Journal, LogPriority::Debug, 0, std::string(5000, 'x'));
    EXPECT_EQ(line.size(), kMaxLogLine);
    EXPECT_TRUE(line.ends_with("x\n"));
}

TEST(LogLine, AnEmptyTextIsAnEmptyLine) {
    EXPECT_EQ(formatted(LogForm::Journal, LogPriority::Debug, 0, "\r\n"), "<7>\n");
}

TEST(Logging, DaemonLinesCarryTheirIdAndOperatorMessagesTheirLevel) {
    ::testing::internal::CaptureStderr();
    loggingDebugOutput(0x04040005, 0, 3, "vlan %u\r\n", 7U);
    loggingLogOutput(0x04040007, 5, 0, "failed %s\r\n", "here");
    loggingLogOutput(0x04040007, 99, 0, "odd level");
    const std::string text = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(text.find("debug   04040005 vlan 7\n"), std::string::npos) << text;
    EXPECT_NE(text.find("notice  04040007 failed here\n"), std::string::npos) << text;
    EXPECT_NE(text.find("debug   04040007 odd level\n"), std::string::npos) << text;
}

TEST(Logging, LinesOfAKindGoToTheirSinkAndToTheConsoleWhenItDoesNotTakeThem) {
    platform::testing::TakenLines lines;
    ::testing::internal::CaptureStderr();
    logEvent(LogPriority::Notice, LogEvent::LinkUp, "%s: link\nup\r\n", "east");
    logMessage(LogPriority::Notice, "of no kind");
    lines.refuse();
    logEvent(LogPriority::Notice, LogEvent::LinkDown, "not taken");
    const std::string text = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(lines.take(), (std::vector<std::string>{"east: link up", "not taken"}));
    EXPECT_EQ(text.find("east"), std::string::npos) << text;
    EXPECT_NE(text.find("notice  of no kind\n"), std::string::npos) << text;
    EXPECT_NE(text.find("notice  not taken\n"), std::string::npos) << text;
}

TEST(Logging, TheBookKeepsAllButWhatIsForDebugging) {
    keepLog();
    ::testing::internal::CaptureStderr();
    logMessage(LogPriority::Notice, "kept");
    loggingDebugOutput(0x04040005, 0, 0, "trace\r\n");
    loggingLogOutput(0x04040007, 4, 0, "of the daemon\r\n");
    ::testing::internal::GetCapturedStderr();
    LogBook::Kept line;
    ASSERT_TRUE(logBook()->next(0, line));
    EXPECT_EQ(line.text(), "kept");
    ASSERT_TRUE(logBook()->next(line.sequence, line));
    EXPECT_EQ(line.text(), "of the daemon");
    EXPECT_EQ(line.priority, LogPriority::Warning);
    EXPECT_FALSE(logBook()->next(line.sequence, line));
}

}  // namespace
}  // namespace platform
