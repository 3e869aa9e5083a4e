// SPDX-License-Identifier: MIT
#include "platform/config/ascii_document.h"

#include <gtest/gtest.h>

#include "platform/config/load.h"

namespace platform {
namespace {

std::string asciiOf(std::string document) {
    EXPECT_FALSE(makeAsciiDocument(document).has_value());
    return document;
}

bool refused(std::string document) {
    return makeAsciiDocument(document).has_value();
}

TEST(AsciiDocument, KeepsAsciiAsItIs) {
    const std::string text = "[switch]\nname = \"a # b\" # c\n";
    EXPECT_EQ(asciiOf(text), text);
}

TEST(AsciiDocument, PutsQuestionMarksIntoComments) {
    EXPECT_EQ(asciiOf("# Zürich\na = 1 # ü"), "# Z??rich\na = 1 # ??");
}

TEST(AsciiDocument, DropsAByteOrderMarkAtTheStartOnly) {
    EXPECT_EQ(asciiOf("\xEF\xBB\xBF[switch]\n"), "[switch]\n");
    EXPECT_TRUE(refused("[switch]\n\xEF\xBB\xBF"));
}

TEST(AsciiDocument, NamesThePlaceOfACharacterElsewhere) {
    std::string document = "# Ф\na = Ф+\n";
    const auto problem = makeAsciiDocument(document);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->place.line, 2U);
    EXPECT_EQ(problem->place.column, 5U);
}

TEST(AsciiDocument, RefusesACharacterInAStringWhateverStandsBeforeIt) {
    EXPECT_TRUE(refused("name = \"Zürich\""));
    EXPECT_TRUE(refused("name = 'a # ü'"));
    EXPECT_TRUE(refused("name = \"a \\\" # ü\""));
    EXPECT_TRUE(refused("a = Z'ü"));
}

TEST(AsciiDocument, AFileThatIsNotAsciiIsRefusedAsAWhole) {
    const LoadedConfig loaded = parseConfig("[switch]\nname = \"Zürich\"\n");
    EXPECT_FALSE(loaded.config.has_value());
    ASSERT_EQ(loaded.problems.size(), 1U);
    EXPECT_EQ(loaded.problems[0].place.line, 2U);
}

}  // namespace
}  // namespace platform
