// SPDX-License-Identifier: MIT
#include "cli/commands/line_reader.h"

#include <gtest/gtest.h>

#include "cli/help/help.h"

namespace {

using cli::LineReader;
using Words = std::vector<std::string>;

Words splitWords(const std::string& line) {
    Words words;
    for (std::size_t begin = 0; begin < line.size();) {
        const std::size_t end = std::min(line.find(' ', begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

Words spelled(const std::string& line) {
    const Words words = splitWords(line);
    return cli::readLine(words).words();
}

std::string problemOf(const std::string& line) {
    const Words words = splitWords(line);
    return cli::readLine(words).problem();
}

Words completed(const std::string& line, const std::string& begun) {
    Words words = splitWords(line);
    words.push_back(begun);
    return cli::namesOf(cli::completeLine(words));
}

TEST(LineReader, WritesAbbreviationsOut) {
    EXPECT_EQ(spelled("sh corr"), splitWords("show corrections"));
    EXPECT_EQ(spelled("sw po li west down"), splitWords("switch port link west down"));
    EXPECT_EQ(spelled("show"), splitWords("show"));
}

TEST(LineReader, TellsAWordFromItsPluralByTheArguments) {
    EXPECT_EQ(spelled("sh po"), splitWords("show ports"));
    EXPECT_EQ(spelled("sh po west"), splitWords("show port west"));
    EXPECT_EQ(spelled("sh vl 10"), splitWords("show vlan 10"));
}

TEST(LineReader, DoesNotTakeTheValueOfAnOptionForAnArgument) {
    EXPECT_EQ(spelled("--socket sh sh po --patience 5"),
              splitWords("--socket sh show ports --patience 5"));
}

TEST(LineReader, ListsWhatAWordMayBe) {
    EXPECT_EQ(problemOf("sw po re west"), "'re' may be reset, replay or record");
    EXPECT_NE(problemOf("s").find("'s' may be status, show, "), std::string::npos);
}

TEST(LineReader, LeavesAWordThatIsWholeAlone) {
    // "port" begins "ports" too.
    EXPECT_EQ(spelled("show port"), splitWords("show port"));
    EXPECT_EQ(problemOf("show port"), "");
}

TEST(LineReader, LeavesArgumentsAlone) {
    EXPECT_EQ(spelled("explain sh 10"), splitWords("explain sh 10"));
    EXPECT_EQ(spelled("show nothing"), splitWords("show nothing"));
}

TEST(LineReader, ReadsWhatHelpIsWantedAbout) {
    const Words words = splitWords("help sh port");
    const LineReader line = cli::readLine(words);
    EXPECT_TRUE(line.isHelp());
    EXPECT_EQ(line.words(), splitWords("show port"));
    EXPECT_EQ(problemOf("help shwo").substr(0, 48),
              "'shwo' is not known here (did you mean show?); a");
}

TEST(LineReader, KnowsTheValuesOfOptions) {
    const Words words = splitWords("--socket /run/a --patience=7 show");
    const LineReader line = cli::readLine(words);
    ASSERT_NE(line.valueOf("--socket"), nullptr);
    EXPECT_EQ(*line.valueOf("--socket"), "/run/a");
    ASSERT_NE(line.valueOf("--patience"), nullptr);
    EXPECT_EQ(*line.valueOf("--patience"), "7");
    EXPECT_EQ(line.valueOf("--json"), nullptr);
    EXPECT_EQ(line.openOption(), "");
}

TEST(CompleteLine, OffersWordsWithoutADaemon) {
    EXPECT_EQ(completed("sh", "run"), Words{"running"});
    EXPECT_EQ(completed("set port p registration", ""), (Words{"fixed", "forbidden", "normal"}));
    EXPECT_EQ(completed("set debug", "receive,t"), (Words{"receive,timer", "receive,transmit"}));
    EXPECT_EQ(completed("set debug", "receive,rec"), Words{});
    EXPECT_EQ(completed("watch", "--sin"), Words{"--since"});
    EXPECT_EQ(completed("config diff", ""), Words{cli::kCompleteFiles});
    EXPECT_EQ(completed("--socket /nowhere show port", ""), Words{});
}

Words described(const std::string& line) {
    Words words = splitWords(line);
    words.emplace_back();
    return cli::namesOf(cli::describeLine(words));
}

TEST(DescribeLine, SaysWhichArgumentIsExpectedAndWhereTheLineMayEnd) {
    EXPECT_EQ(described("switch port add"), Words{"UNIT"});
    EXPECT_EQ(described("switch port add 5"), Words{"NAME"});
    EXPECT_EQ(described("switch port add 5 x"), (Words{"KIND", "ENTER"}));
    EXPECT_EQ(described("show ports"), Words{"ENTER"});
    EXPECT_EQ(described("standby take-over"), (Words{"ENTER", "--force"}));
    EXPECT_EQ(described("standby"), Words{"take-over"});
    EXPECT_EQ(described("switch port link west"), (Words{"STATE", "down", "up"}));
}

/// Every word of the tables is found, and no abbreviation is needed for it.
TEST(LineReader, FindsEveryCommandByItsWholeName) {
    for (const auto& table : cli::allCommands())
        for (const cli::Command& command : table) {
            const Words words = splitWords(command.path);
            if (words.front() == cli::kHelpWord)
                continue;
            const LineReader line = cli::readLine(words);
            EXPECT_EQ(line.command(), &command) << command.path;
            EXPECT_EQ(line.problem(), "") << command.path;
        }
}

}  // namespace
