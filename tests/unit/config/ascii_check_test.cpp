// SPDX-License-Identifier: MIT
#include "platform/config/ascii_check.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

bool accepted(std::string_view document) {
    return !findForeignCharacter(document).has_value();
}

TEST(AsciiCheck, AcceptsForeignCharactersInStringsAndComments) {
    EXPECT_TRUE(accepted("name = \"Zürich\"\n"));
    EXPECT_TRUE(accepted("name = 'Zürich'\n"));
    EXPECT_TRUE(accepted("name = \"\"\"one\nZürich \"two\" \"\"\"\nb = 1\n"));
    EXPECT_TRUE(accepted("name = '''Zürich\n'' '''\n"));
    EXPECT_TRUE(accepted("# Zürich\nname = 1 # Zürich"));
    EXPECT_TRUE(accepted("\"Zürich\" = 1\n"));
}

TEST(AsciiCheck, AcceptsAByteOrderMarkAtTheStart) {
    EXPECT_TRUE(accepted("\xEF\xBB\xBF[switch]\n"));
    EXPECT_FALSE(accepted("[switch]\n\xEF\xBB\xBF"));
}

TEST(AsciiCheck, NamesThePlaceOfACharacterOutside) {
    const auto problem = findForeignCharacter("a = \"ü\"\nb = Ф+\n");
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->place.line, 2U);
    EXPECT_EQ(problem->place.column, 5U);
}

TEST(AsciiCheck, AnEscapedQuoteDoesNotEndAString) {
    EXPECT_TRUE(accepted(R"(a = "\"ü")"));
    EXPECT_FALSE(accepted(R"(a = "\\"ü)"));
    EXPECT_FALSE(accepted(R"(a = '\'ü)"));
}

TEST(AsciiCheck, AStringThatIsNotClosedEndsWithItsLine) {
    EXPECT_FALSE(accepted("a = \"open\nü"));
    EXPECT_TRUE(accepted("a = \"\"\"open\nü"));
}

TEST(AsciiCheck, QuotesMayTouchTheEndOfALongString) {
    EXPECT_FALSE(accepted("a = \"\"\"x\"\"\"\"\" ü"));
    EXPECT_FALSE(accepted("a = '''x'''' ü"));
}

TEST(AsciiCheck, TextOfEverySizeEndsTheScan) {
    for (const char* text : {"", "\"", "'", "\"\"", "\"\"\"", "\"\\", "#", "'''", "'''\\"})
        EXPECT_TRUE(accepted(text)) << text;
}

}  // namespace
}  // namespace platform
