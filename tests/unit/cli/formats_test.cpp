// SPDX-License-Identifier: MIT
#include "cli/print/formats.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace cli;

TEST(Yaml, HasTheMembersOfTheDocumentInTheirOrder) {
    EXPECT_EQ(
        yamlOf(R"({"version": 1, "name": "sw1", "up": true, "peer": null, "b": [], "a": {}})"),
        "---\nversion: 1\nname: sw1\nup: true\npeer: null\nb: []\na: {}\n");
}

TEST(Yaml, IndentsWhatIsInside) {
    EXPECT_EQ(yamlOf(R"({"ports": [{"name": "a", "counters": {"in": 1, "out": 2}}, {"name": "b"}],
                         "words": ["x", "z"], "deep": [[1, 2], []]})"),
              "---\n"
              "ports:\n"
              "  - name: a\n"
              "    counters:\n"
              "      in: 1\n"
              "      out: 2\n"
              "  - name: b\n"
              "words:\n"
              "  - x\n"
              "  - z\n"
              "deep:\n"
              "  - - 1\n"
              "    - 2\n"
              "  - []\n");
}

TEST(Yaml, QuotesWhatAReaderWouldTakeForSomethingElse) {
    for (const char* text : {"-",          "1-3,7", "10",   "1e5",  "0x1F", "02:00:00:00:00:01",
                             "2026-01-02", "true",  "No",   "ON",   "null", "~",
                             "",           " a",    "a: b", "a #b", "*a",   "&a",
                             "!a",         "%a",    "@a",   "[a",   "{a",   "y"})
        EXPECT_EQ(yamlOf(R"({"a": ")" + std::string(text) + "\"}"),
                  "---\na: \"" + std::string(text) + "\"\n");
    EXPECT_EQ(yamlOf(R"({"a": "two\nlines", "b\"c": 1})"),
              "---\na: \"two\\nlines\"\n\"b\\\"c\": 1\n");
}

TEST(Csv, HasARowForEachElementOfTheOneList) {
    EXPECT_EQ(csvOf(R"({"version": 1, "port": 7, "states": [
                          {"vlans": "1,10-12", "registered": true, "left": null},
                          {"vlans": "20", "registered": false, "left": 3}]})"),
              "port,vlans,registered,left\n"
              "7,\"1,10-12\",true,\n"
              "7,20,false,3\n");
}

TEST(Csv, TellsAValueOfTheAnswerFromOneOfItsEntries) {
    EXPECT_EQ(csvOf(R"({"version": 1, "name": "sw", "on": true, "ports": [{"name": "a"}]})"),
              "answer.name,on,name\nsw,true,a\n");
}

TEST(Csv, NamesMembersOfMembersAndWritesListsWithBlanks) {
    EXPECT_EQ(csvOf(R"({"version": 1, "ports": [
                          {"name": "a", "settings": null, "peers": ["x", "y"]},
                          {"name": "b", "settings": {"join": 200}, "peers": []}]})"),
              "name,peers,settings.join\n"
              "a,x y,\n"
              "b,,200\n");
}

TEST(Csv, TakesAnAnswerWithoutAListForOneRow) {
    EXPECT_EQ(csvOf(R"({"version": 1, "status": 0})"), "status\n0\n");
    EXPECT_EQ(csvOf(R"({"version": 1, "name": "sw", "corrections": ["a", "b"]})"),
              "name,corrections\nsw,a b\n");
    EXPECT_EQ(csvOf(R"({"version": 1, "port": {"unit": 1}, "others": [{"unit": 2}]})"),
              "port.unit,others\n1,\"[{\"\"unit\"\":2}]\"\n");
}

TEST(Csv, MakesRowsOfTextsThatAreAllThereIs) {
    EXPECT_EQ(csvOf(R"({"version": 1, "functions": ["a", "b"]})"), "functions\na\nb\n");
}

TEST(Csv, QuotesCommasQuotesAndLineEnds) {
    EXPECT_EQ(csvOf(R"({"version": 1, "a": "x,y", "b": "say \"no\"", "c": "1\n2"})"),
              "a,b,c\n\"x,y\",\"say \"\"no\"\"\",\"1\n2\"\n");
}

TEST(Csv, OfAnEmptyListIsNothing) {
    EXPECT_EQ(csvOf(R"({"version": 1, "ports": []})"), "");
}

TEST(Formats, LeaveAloneWhatIsNoDocument) {
    const std::string metrics = "# TYPE mvrp_x counter\nmvrp_x 1\n# EOF\n";
    EXPECT_EQ(inFormat(Format::Yaml, metrics), metrics);
    EXPECT_EQ(inFormat(Format::Csv, metrics), metrics);
    EXPECT_EQ(inFormat(Format::Json, "{}"), "{}");
}

TEST(Formats, AreFoundInACommandLineThatIsWrong) {
    const auto asked = [](std::vector<std::string> words) { return formatAskedFor(words); };
    EXPECT_EQ(asked({"shwo", "-j"}), Format::Json);
    EXPECT_EQ(asked({"-o", "yaml", "shwo"}), Format::Yaml);
    EXPECT_EQ(asked({"shwo", "--output=csv"}), Format::Csv);
    EXPECT_EQ(asked({"shwo", "--output", "json"}), Format::Json);
    EXPECT_EQ(asked({"shwo", "-o"}), Format::Table);
    EXPECT_EQ(asked({"shwo", "-o", "xml"}), Format::Table);
}

}  // namespace
