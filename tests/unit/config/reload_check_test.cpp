// SPDX-License-Identifier: MIT
//
// What is not taken over from a file that is right by itself: files that are empty, cut off, or
// another switch's.
#include "platform/config/reload/reload_check.h"

#include <gtest/gtest.h>

#include "platform/config/load.h"
#include "platform/config/reload/config_changes.h"

namespace platform {
namespace {

constexpr std::string_view kBridge = R"([switch]
driver = "linux"
bridge = "br0"

[[port]]
name = "eth*"
mvrp = true

[[port]]
name = "tap*"
permit = "1-100"
mvrp = true

[[port]]
name = "veth*"
mvrp = true
leave-time = 1000
)";

constexpr std::string_view kSoft = R"([switch]
name = "sw"

[[port]]
unit = 1

[[port]]
unit = 12

[[vlan]]
ids = "10-12"

[management]
enable = true

[[management.port]]
unit = 1
enable = true

[[management.port]]
unit = 12
enable = true
leave-time = 13000
)";

HostConfig load(std::string_view document) {
    const LoadedConfig loaded = parseConfig(document);
    for (const ConfigProblem& problem : loaded.problems)
        ADD_FAILURE() << formatProblem("file", problem);
    return loaded.config.value_or(HostConfig{});
}

std::string without(std::string_view document, std::string_view part) {
    std::string text(document);
    text.erase(text.find(part), part.size());
    return text;
}

std::string with(std::string_view document, std::string_view old, std::string_view now) {
    std::string text(document);
    return text.replace(text.find(old), old.size(), now);
}

std::string refusal(std::string_view running, const std::string& next) {
    return reloadRefusal(load(running), load(next));
}

TEST(ReloadCheck, TheSameFileIsTakenOver) {
    EXPECT_EQ(refusal(kBridge, std::string(kBridge)), "");
    EXPECT_EQ(refusal(kSoft, std::string(kSoft)), "");
}

TEST(ReloadCheck, EachRefusalNamesTheWayToInsist) {
    for (const char* next : {"", "[switch]\n", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\n"})
        EXPECT_TRUE(refusal(kSoft, next).ends_with(kForceAdvice)) << next;
}

TEST(ReloadCheck, AFileWithoutSwitchIsRefused) {
    EXPECT_NE(refusal(kSoft, "").find("there is no [switch]"), std::string::npos);
    EXPECT_NE(refusal(kSoft, without(kSoft, "[switch]\nname = \"sw\"\n")).find("no [switch]"),
              std::string::npos);
}

TEST(ReloadCheck, AnotherBridgeIsRefused) {
    EXPECT_NE(refusal(kBridge, with(kBridge, "br0", "br1")).find("the bridge br0"),
              std::string::npos);
}

TEST(ReloadCheck, AFileCutOffAtAnyByteCostsNoPort) {
    for (const std::string_view whole : {kBridge, kSoft}) {
        for (std::size_t end = 0; end < whole.size(); end++) {
            const LoadedConfig cut = parseConfig(whole.substr(0, end));
            if (!cut.config || !reloadRefusal(load(whole), *cut.config).empty())
                continue;
            for (const std::string& line : configChanges(load(whole), *cut.config)) {
                EXPECT_EQ(line.find(" is gone"), std::string::npos) << end << ": " << line;
                EXPECT_EQ(line.find("enable"), std::string::npos) << end << ": " << line;
                EXPECT_EQ(line.find("mvrp"), std::string::npos) << end << ": " << line;
            }
        }
    }
}

TEST(ReloadCheck, AFileThatWasChangedAtItsBeginningAndCutOffIsRefused) {
    const std::string changed = with(kSoft, "\"sw\"", "\"other\"");
    const std::string cut = changed.substr(0, changed.rfind("enable = true"));
    EXPECT_NE(refusal(kSoft, cut).find("it would take along port 12"), std::string::npos);
}

TEST(ReloadCheck, APortThatIsTakenOutOfTheMiddleIsMeant) {
    EXPECT_EQ(refusal(kBridge, without(kBridge,
                                       "[[port]]\nname = \"tap*\"\npermit = \"1-100\"\n"
                                       "mvrp = true\n")),
              "");
}

TEST(ReloadCheck, ThatNoPortTakesPartAnyMoreIsTakenOverWhenTheFileSaysSo) {
    const std::string silent = without(kSoft,
                                       "enable = true\n\n[[management.port]]\nunit = 1\n"
                                       "enable = true\n\n[[management.port]]\nunit = 12\n"
                                       "enable = true\nleave-time = 13000\n");
    EXPECT_NE(refusal(kSoft, silent).find("no port would take part"), std::string::npos);
    EXPECT_EQ(refusal(kSoft, silent + "enable = false\n"), "");
}

TEST(ReloadCheck, AVlanThatTheEndTakesAlongIsNoted) {
    const std::string document = "[switch]\n[[port]]\nunit = 1\n[[vlan]]\nids = \"7\"\n";
    EXPECT_NE(refusal(document, "[switch]\n[[port]]\nunit = 1\n").find("VLANs 7"),
              std::string::npos);
}

TEST(ConfigChanges, NameEachDifferenceInTheWordsOfTheFile) {
    const std::string next =
        with(with(kSoft, "[[port]]\nunit = 12\n", "[[port]]\nunit = 12\nmtu = 9000\n"),
             "leave-time = 13000", "leave-time = 14000\nregistration = \"fixed\"");
    const std::vector<std::string> expected = {
        "[[port]] 12 (port12) mtu: 1500 -> 9000",
        "[[management.port]] 12 registration: not given -> fixed",
        "[[management.port]] 12 leave-time: 13000 -> 14000"};
    EXPECT_EQ(configChanges(load(kSoft), load(next)), expected);
    EXPECT_EQ(configChanges(load(kSoft), load(kSoft)), std::vector<std::string>{});
}

TEST(ConfigChanges, NameWhatIsNewAndGone) {
    const auto lines = configChanges(load(kBridge), load(with(kBridge, "\"tap*\"", "\"tun*\"")));
    const std::vector<std::string> expected = {"[[port]] tap* is gone", "[[port]] tun* is new"};
    EXPECT_EQ(lines, expected);
}

TEST(ConfigChanges, WhatTakesANewStartIsToldApart) {
    const std::string next = std::string(kSoft) + "[store]\nfile = \"/x\"\n";
    EXPECT_EQ(configChanges(load(kSoft), load(next)), std::vector<std::string>{});
    ASSERT_EQ(fixedChanges(load(kSoft), load(next)).size(), 1U);
    EXPECT_NE(fixedChanges(load(kSoft), load(next))[0].find("[store]"), std::string::npos);
}

}  // namespace
}  // namespace platform
