// SPDX-License-Identifier: MIT
#include "platform/observe/correction_book.h"

#include <gtest/gtest.h>

#include <thread>

namespace platform {
namespace {

std::optional<Correction> lastOf(const CorrectionBook& book, u32 unit, u32 vid) {
    const auto last = book.last(unit, vid);
    return last ? std::optional(last->which) : std::nullopt;
}

TEST(CorrectionBook, CountsEachAndRemembersTheLastForAPortAndVlan) {
    CorrectionBook book(CorrectionSet::all());
    EXPECT_EQ(book.on(), CorrectionSet::all());
    EXPECT_EQ(book.last(1, 10), std::nullopt);
    book.acted(Correction::LeaveNeeded, 1, 10);
    book.acted(Correction::LeaveNeeded, 2, 10);
    book.acted(Correction::SpareOthers, 1, 10);
    book.acted(Correction::StaticKept, 1, 0);
    EXPECT_EQ(book.count(Correction::LeaveNeeded), 2U);
    EXPECT_EQ(book.count(Correction::SpareOthers), 1U);
    EXPECT_EQ(book.count(Correction::Admission), 0U);
    EXPECT_EQ(lastOf(book, 1, 10), Correction::SpareOthers);
    EXPECT_EQ(lastOf(book, 2, 10), Correction::LeaveNeeded);
    EXPECT_EQ(lastOf(book, 1, 0), Correction::StaticKept);
    EXPECT_EQ(lastOf(book, 1, 11), std::nullopt);
    EXPECT_EQ(lastOf(book, 3, 10), std::nullopt);
}

TEST(CorrectionBook, AllVlansOfSixteenPortsAreRemembered) {
    constexpr u32 kPorts = 16;
    CorrectionBook book({});
    for (u32 unit = 1; unit <= kPorts; unit++)
        for (u32 vid = 1; vid <= 4094; vid++)
            book.acted(Correction::OwnBatch, unit, vid);
    u32 remembered = 0;
    for (u32 unit = 1; unit <= kPorts; unit++)
        for (u32 vid = 1; vid <= 4094; vid++)
            remembered += lastOf(book, unit, vid) == Correction::OwnBatch ? 1 : 0;
    EXPECT_GE(remembered, kPorts * 4094 / 2) << "places are shared by more than two";
}

TEST(CorrectionBook, WhatSharesAPlaceIsForgottenAndNeverMistaken) {
    CorrectionBook book({});
    for (u32 unit = 1; unit <= 512; unit++)
        for (u32 vid = 1; vid <= 4094; vid += 3)
            book.acted(static_cast<Correction>(unit % kCorrectionCount), unit, vid);
    for (u32 unit = 1; unit <= 512; unit++)
        for (u32 vid = 1; vid <= 4094; vid += 3)
            if (const auto last = book.last(unit, vid)) {
                ASSERT_EQ(last->which, static_cast<Correction>(unit % kCorrectionCount));
            }
    EXPECT_TRUE(book.last(512, 4094 - 4093 % 3));
}

TEST(CorrectionBook, UnknownCorrectionIsPassedOver) {
    CorrectionBook book({});
    book.acted(static_cast<Correction>(kCorrectionCount), 1, 10);
    EXPECT_EQ(book.last(1, 10), std::nullopt);
}

TEST(CorrectionBook, AReaderSeesWholeDecisionsOnly) {
    CorrectionBook book({});
    constexpr u32 kRounds = 100'000;
    std::thread writer([&book] {
        for (u32 round = 0; round < kRounds; round++)
            book.acted(static_cast<Correction>(round % kCorrectionCount), 1 + round % 2, 10);
    });
    while (book.count(Correction::StaticKept) < kRounds / kCorrectionCount)
        if (const auto last = book.last(1, 10)) {
            ASSERT_LT(static_cast<u32>(last->which), kCorrectionCount);
            ASSERT_NE(last->whenMs, 0U);
        }
    writer.join();
}

}  // namespace
}  // namespace platform
