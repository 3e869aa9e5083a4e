// SPDX-License-Identifier: MIT
#include "platform/runtime/log_book.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace platform {
namespace {

std::vector<std::string> textsAfter(const LogBook& book, u64 since) {
    std::vector<std::string> texts;
    const auto line = std::make_unique<LogBook::Kept>();
    while (book.next(since, *line)) {
        texts.emplace_back(line->text());
        since = line->sequence;
    }
    return texts;
}

TEST(LogBook, LinesAreReadInTheirOrderWithWhatTheyAreAbout) {
    LogBook book;
    EXPECT_EQ(book.oldest(), book.newest() + 1);
    LogVlans vlans{};
    vlans[1] = 0x40;
    book.add({.event = LogEvent::VlansLearnt,
              .unit = 3,
              .port = "east",
              .vlans = &vlans,
              .text = "east: VLAN 10 learnt"});
    book.add({.priority = LogPriority::Error, .text = "second"});
    EXPECT_EQ(textsAfter(book, 0), (std::vector<std::string>{"east: VLAN 10 learnt", "second"}));
    LogBook::Kept line;
    ASSERT_TRUE(book.next(0, line));
    EXPECT_EQ(line.event, LogEvent::VlansLearnt);
    EXPECT_EQ(line.unit, 3U);
    EXPECT_EQ(line.port(), "east");
    ASSERT_TRUE(line.ofVlans);
    EXPECT_EQ(line.vlans, vlans);
    ASSERT_TRUE(book.next(line.sequence, line));
    EXPECT_EQ(line.priority, LogPriority::Error);
    EXPECT_FALSE(line.ofVlans);
    EXPECT_FALSE(book.next(line.sequence, line));
}

TEST(LogBook, TheOldestGivesWayWhenItIsFull) {
    LogBook book;
    for (u32 i = 0; i < kLogLinesKept; i++)
        book.add({.text = std::to_string(i)});
    EXPECT_FALSE(book.overwritten());
    book.add({.text = "last"});
    EXPECT_TRUE(book.overwritten());
    const std::vector<std::string> texts = textsAfter(book, 0);
    ASSERT_EQ(texts.size(), kLogLinesKept);
    EXPECT_EQ(texts.front(), "1");
    EXPECT_EQ(texts.back(), "last");
    EXPECT_EQ(book.newest() - book.oldest() + 1, kLogLinesKept);
}

TEST(LogBook, AnEarlierRunsNumberIsBelowAllOfThisOne) {
    LogBook earlier;
    earlier.add({.text = "then"});
    const LogBook book;
    EXPECT_LE(earlier.newest(), book.oldest());
}

TEST(LogBook, ALongTextIsCut) {
    LogBook book;
    const std::string text(3 * kLogTextKept, 'x');
    book.add({.port = text, .text = text});
    LogBook::Kept line;
    ASSERT_TRUE(book.next(0, line));
    EXPECT_EQ(line.text().size(), kLogTextKept);
    EXPECT_EQ(line.port().size(), 64U);
}

}  // namespace
}  // namespace platform
