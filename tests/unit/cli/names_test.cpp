// SPDX-License-Identifier: MIT
#include "cli/client/names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <vector>

namespace {

using namespace cli;

TEST(Names, ApplicantStatesHaveTheirStandardNamesInOrder) {
    const char* const expected[] = {"VO", "VP", "VN", "AN", "AA", "QA", "LA",
                                    "LO", "AO", "QO", "AP", "QP", "VA"};
    for (u32 state = 0; state < std::size(expected); ++state)
        EXPECT_EQ(nameOf(kApplicantStates, state), expected[state]);
}

TEST(Names, AValueWithoutANameIsItsNumber) {
    EXPECT_EQ(nameOf(kRegistrarStates, 7), "7");
}

TEST(Names, AValueIsReadAsWordOrAsNumber) {
    EXPECT_EQ(valueOf(kRegistrationModes, "forbidden"), 3U);
    EXPECT_EQ(valueOf(kRegistrationModes, "2"), 2U);
    EXPECT_EQ(valueOf(kRegistrationModes, "0x2"), 2U);
}

TEST(Names, AnythingElseIsNoValue) {
    for (const char* text : {"", "Forbidden", "4", "0", "2x", "-1", "fixed ", "4294967298"})
        EXPECT_EQ(valueOf(kRegistrationModes, text), std::nullopt) << text;
}

TEST(Names, AListReadsLikeASentence) {
    EXPECT_EQ(listOf(kRegistrationModes), "normal, fixed or forbidden");
    EXPECT_EQ(listOf(kOnOff), "on or off");
}

TEST(DebugMask, IsReadFromWordsAndWrittenBack) {
    EXPECT_EQ(parseDebugMask("receive,timer"), 0x41U);
    EXPECT_EQ(formatDebugMask(0x41), "receive,timer");
    EXPECT_EQ(parseDebugMask("start"), 0x80U);
    EXPECT_EQ(formatDebugMask(0), "none");
    EXPECT_EQ(parseDebugMask("none"), 0U);
    EXPECT_EQ(parseDebugMask("all"), 255U);
    EXPECT_EQ(parseDebugMask("0xff"), 255U);
}

TEST(DebugMask, RefusesUnknownWordsAndNumbersAbove255) {
    for (const char* text : {"", "256", "receive,", "receive timer", "rcv", ",", "-1"})
        EXPECT_EQ(parseDebugMask(text), std::nullopt) << text;
}

TEST(StatusText, EveryStatusOfTheDaemonHasATextOfItsOwn) {
    std::set<std::string> texts;
    std::vector<u32> statuses = {kStatusFailed};
    std::ranges::transform(kMvrpErrorTexts, std::back_inserter(statuses), &MvrpWord::value);
    for (const u32 status : statuses) {
        const std::string text = statusText(status);
        EXPECT_FALSE(text.starts_with("status ")) << text;
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
}

TEST(StatusText, EveryStatusHasANameAndASentence) {
    std::vector<u32> statuses = {kStatusFailed, kStatusTimedOut, 2, 17, 22, 38};
    std::ranges::transform(kMvrpErrorTexts, std::back_inserter(statuses), &MvrpWord::value);
    for (const u32 status : statuses) {
        EXPECT_NE(statusName(status), "unknown") << status;
        EXPECT_EQ(statusText(status).find("0x"), std::string::npos) << status;
    }
    EXPECT_EQ(statusName(65536001), "noRoom");
}

TEST(StatusText, AnUnknownStatusIsSaidToBeOne) {
    EXPECT_EQ(statusName(0x12345678), "unknown");
    EXPECT_NE(statusText(0x12345678).find("0x12345678, which has no name"), std::string::npos);
}

}  // namespace
