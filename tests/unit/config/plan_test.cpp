// SPDX-License-Identifier: MIT
//
// What following a configuration would do to ports and VLANs.
#include "platform/config/reload/plan.h"

#include <gtest/gtest.h>

#include "platform/config/load.h"

namespace platform {
namespace {

constexpr const char* kSoft = R"([switch]
[[port]]
unit = 1
name = "east"
permit = "1-100"
[[port]]
unit = 2
name = "west"
[[vlan]]
ids = "10-12"
[management]
enable = true
[[management.port]]
unit = "1-2"
enable = true
)";

constexpr const char* kBridge = R"([switch]
driver = "linux"
bridge = "br0"
[[port]]
name = "up*"
mvrp = true
permit = "1-100"
)";

HostConfig load(const std::string& document) {
    const LoadedConfig loaded = parseConfig(document);
    for (const ConfigProblem& problem : loaded.problems)
        ADD_FAILURE() << formatProblem("file", problem);
    return loaded.config.value_or(HostConfig{});
}

std::string with(std::string text, const std::string& old, const std::string& now) {
    return text.replace(text.find(old), old.size(), now);
}

const std::vector<PlanPort> kPorts = {
    {1, "east", true, *parseVlanRanges("20-22")},
    {2, "west", true, {}},
};

/// "east portGone 20-22", a line each.
std::string effects(const std::string& running, const std::string& next,
                    const std::vector<PlanPort>& ports = kPorts) {
    std::string text;
    for (const PlanEffect& effect : planEffects(load(running), load(next), ports))
        text += effect.port + " " + std::string(planWord(effect.kind)) + " " +
                formatVlanRanges(effect.vlans) + "\n";
    return text;
}

TEST(PlanEffects, OfTheSameConfigurationThereAreNone) {
    EXPECT_EQ(effects(kSoft, kSoft), "");
    EXPECT_EQ(effects(kBridge, kBridge), "");
}

TEST(PlanEffects, VlansThatAPortMayCarryNoMoreAreForgottenWhereTheyAreLearnt) {
    EXPECT_EQ(effects(kSoft, with(kSoft, "1-100", "1-20,200")),
              "east permitted 200\neast forbidden 21-100\neast forgotten 21-22\n");
}

TEST(PlanEffects, APortThatGoesTakesItsVlansAlong) {
    const std::string next =
        with(with(kSoft, "[[port]]\nunit = 1\nname = \"east\"\npermit = \"1-100\"\n", ""),
             "\"1-2\"", "2");
    EXPECT_EQ(effects(kSoft, next), "east portGone 20-22\n");
}

TEST(PlanEffects, ANewPortIsNamedWithWhatItPermits) {
    const std::string next =
        with(kSoft, "[[vlan]]", "[[port]]\nunit = 3\nname = \"north\"\npermit = \"7\"\n[[vlan]]");
    EXPECT_EQ(effects(kSoft, next), "north portNew 1,7\n");
}

TEST(PlanEffects, APortThatTakesNoPartAnyMoreForgetsWhatItLearnt) {
    EXPECT_EQ(effects(kSoft, with(kSoft, "\"1-2\"", "2")), "east portLeaves 20-22\n");
    EXPECT_EQ(effects(with(kSoft, "\"1-2\"", "2"), kSoft,
                      {{1, "east", false, {}}, {2, "west", true, {}}}),
              "east portJoins -\n");
}

TEST(PlanEffects, TheWholeProtocolIsSwitchedOff) {
    std::string next = with(kSoft, "[[management.port]]\nunit = \"1-2\"\nenable = true\n", "");
    next = with(next, "enable = true", "enable = false");
    EXPECT_EQ(effects(kSoft, next), "east portLeaves 20-22\nwest portLeaves -\n");
}

TEST(PlanEffects, StaticVlansComeAndGo) {
    EXPECT_EQ(effects(kSoft, with(kSoft, "10-12", "12-14")),
              " vlansCreated 13-14\n vlansDeleted 10-11\n");
}

TEST(PlanEffects, APortThatWasSwitchedOffByHandStaysSoWhereTheFileSaysNothingNew) {
    EXPECT_EQ(effects(kSoft, with(kSoft, "10-12", "10-13"),
                      {{1, "east", false, {}}, {2, "west", true, {}}}),
              " vlansCreated 13\n");
}

TEST(PlanEffects, RulesOfABridgeAreLookedUpForThePortsItHas) {
    const std::vector<PlanPort> ports = {{5, "up0", true, *parseVlanRanges("50,60")},
                                         {6, "tap0", false, {}}};
    EXPECT_EQ(effects(kBridge, with(kBridge, "1-100", "1-55"), ports),
              "up0 forbidden 56-100\nup0 forgotten 60\n");
    EXPECT_EQ(
        effects(kBridge, std::string(kBridge) + "[[port]]\nname = \"tap*\"\nmvrp = true\n", ports),
        "tap0 portJoins -\n");
}

TEST(PlanEffects, AnotherBridgeHasNone) {
    EXPECT_EQ(effects(kBridge, with(kBridge, "br0", "br1"), kPorts), "");
}

}  // namespace
}  // namespace platform
