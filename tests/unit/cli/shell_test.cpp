// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "cli/commands/line_reader.h"
#include "cli/commands/undo.h"
#include "cli/shell/editor.h"
#include "cli/shell/split.h"

namespace {

using Words = std::vector<std::string>;

TEST(SplitLine, TakesWordsBetweenBlanks) {
    EXPECT_EQ(cli::splitLine("  show\tport  west ").words, (Words{"show", "port", "west"}));
    EXPECT_EQ(cli::splitLine("").words, Words{});
    EXPECT_EQ(cli::splitLine("show\r\n").words, Words{"show"});
}

TEST(SplitLine, KeepsBlanksInQuotationMarks) {
    EXPECT_EQ(cli::splitLine("show port 'a b'").words, (Words{"show", "port", "a b"}));
    EXPECT_EQ(cli::splitLine("show \"it's\"x ''").words, (Words{"show", "it'sx", ""}));
    EXPECT_TRUE(cli::splitLine("show 'east").openQuote);
    EXPECT_FALSE(cli::splitLine("show 'east'").openQuote);
}

TEST(SplitLine, LeavesCommentsOut) {
    EXPECT_EQ(cli::splitLine("# nothing").words, Words{});
    EXPECT_EQ(cli::splitLine("show # all").words, Words{"show"});
    EXPECT_EQ(cli::splitLine("show a#b '#'").words, (Words{"show", "a#b", "#"}));
}

TEST(SplitLine, LeavesTheNameOfTheProgramOut) {
    EXPECT_EQ(cli::splitLine("mvrpctl show").words, Words{"show"});
    EXPECT_EQ(cli::splitLine("show mvrpctl").words, (Words{"show", "mvrpctl"}));
}

TEST(SplitLine, KnowsWhetherTheLastWordGoesOn) {
    EXPECT_TRUE(cli::splitLine("show po").openWord);
    EXPECT_FALSE(cli::splitLine("show po ").openWord);
    EXPECT_FALSE(cli::splitLine("").openWord);
}

TEST(CandidatesText, BreaksHelpAtTheWidthOfTheTerminal) {
    const std::vector<cli::Candidate> candidates = {{"a", "one two three four five six seven"},
                                                    {"longer", ""}};
    EXPECT_EQ(cli::candidatesText(candidates, {false, 32}),
              "  a       one two three four\n          five six seven\n  longer\n");
    EXPECT_EQ(cli::candidatesText(candidates, {}),
              "  a       one two three four five six seven\n  longer\n");
}

/// A command that changes something is put back or refused, never taken for one that only looks.
TEST(Undo, NoCommandThatChangesIsTakenForOneThatLooks) {
    for (const auto& table : {cli::kSetCommands, cli::kSwitchCommands, cli::kStandbyCommands})
        for (const cli::Command& command : table)
            EXPECT_NE(cli::reachOf(command), cli::Reach::Looks) << command.path;
    for (const char* path : {"config apply", "config save", "clear statistics", "debug request",
                             "debug call", "debug vlan", "switch port delete"})
        EXPECT_EQ(cli::reachOf(*cli::findCommand(path)), cli::Reach::Stays) << path;
}

TEST(Undo, KnowsTheCommandsOfTheTables) {
    for (const char* path : {"set port", "set global", "set debug", "switch vlan create",
                             "switch vlan delete", "switch port pvid", "switch port cable"})
        EXPECT_EQ(cli::reachOf(*cli::findCommand(path)), cli::Reach::PutBack) << path;
    for (const char* path : {"show", "show ports", "explain", "config diff", "debug list", "wait"})
        EXPECT_EQ(cli::reachOf(*cli::findCommand(path)), cli::Reach::Looks) << path;
}

}  // namespace
