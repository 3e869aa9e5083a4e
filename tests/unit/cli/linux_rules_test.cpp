// SPDX-License-Identifier: MIT
#include "cli/config/linux_rules.h"

#include <gtest/gtest.h>

#include "cli/config/toml_text.h"

namespace cli {
namespace {

constexpr const char* kFile = R"(# ours
[switch]
driver = "linux"
bridge = "br0"

# all taps
[[port]]
name = "tap*"
mvrp = true
permit = "2-100"

# the uplink
[[port]]
name = "swp1"
mvrp = true
)";

platform::HostConfig load(const std::string& text) {
    const platform::LoadedConfig loaded = platform::parseConfig(text);
    EXPECT_TRUE(loaded.config) << (loaded.problems.empty() ? "" : loaded.problems[0].text) << text;
    return loaded.config.value_or(platform::HostConfig{});
}

/// A bridge with ports that run as a file says.
class Rules : public testing::Test {
  protected:
    Rules() { running.global.enabled = true; }

    /// @return the settings that run, to be changed; until the next is added
    PortSettings& add(const std::string& name) {
        PortView view;
        view.port.unit = static_cast<u32>(running.vlans.ports.size()) + 1;
        name.copy(view.port.name.data(), view.port.name.size() - 1);
        const platform::LinuxPortRule& rule = file.network.linuxBridge.ruleOf(name);
        view.port.wireForm = static_cast<u32>(rule.wireForm);
        PortSettings settings{};
        settings.enabled = rule.management.enable == MVRP_ON;
        for (const PortSetting& setting : kPortSettings)
            settings.*setting.running =
                (rule.management.*setting.file).value_or(setting.what.initial);
        view.settings = settings;
        running.vlans.ports.push_back(view);
        return *running.vlans.ports.back().settings;
    }
    std::string document() const { return runningDocument(kFile, file, running); }
    /// What is different between what runs and the document of it.
    std::size_t differences() const { return compareConfig(load(document()), running).size(); }

    platform::HostConfig file = load(kFile);
    RunningConfig running;
};

TEST_F(Rules, WhatRunsAsTheFileSaysLeavesItAsItIs) {
    add("tap0");
    add("swp1");
    EXPECT_EQ(document(), kFile);
}

TEST_F(Rules, APortOfAPatternGetsARuleOfItsOwnBeforeThePattern) {
    add("tap0");
    add("tap1").registration = MVRP_REGISTRATION_FIXED;
    EXPECT_EQ(differences(), 0U);
    const std::string text = document();
    EXPECT_LT(text.find("name = \"tap1\""), text.find("name = \"tap*\""));
    EXPECT_NE(text.find("registration = \"fixed\""), std::string::npos);
    const platform::LinuxPortRule rule = load(text).network.linuxBridge.ruleOf("tap1");
    EXPECT_EQ(platform::formatVlanRanges(rule.permit), "2-100") << "the pattern's";
    EXPECT_EQ(text.find("name = \"tap0\""), std::string::npos);
    EXPECT_NE(text.find("# all taps\n[[port]]\nname = \"tap*\""), std::string::npos);
}

TEST_F(Rules, APortsOwnRuleIsReplacedAndKeepsItsComment) {
    add("swp1").joinTime = 300;
    EXPECT_EQ(differences(), 0U);
    const std::string text = document();
    EXPECT_NE(text.find("# the uplink\n[[port]]\nname = \"swp1\"\n"), std::string::npos) << text;
    EXPECT_EQ(load(text).network.linuxBridge.rules.size(), 2U);
}

TEST_F(Rules, AnOwnRuleBehindAPatternThatHoldsMovesBeforeIt) {
    file = load(std::string(kFile) + "\n[[port]]\nname = \"tap1\"\n");
    add("tap1").joinTime = 300;
    const std::string text =
        runningDocument(std::string(kFile) + "\n[[port]]\nname = \"tap1\"\n", file, running);
    EXPECT_EQ(compareConfig(load(text), running).size(), 0U) << text;
}

TEST_F(Rules, APortThatNoRuleNamesGetsOne) {
    add("eth7").enabled = true;
    EXPECT_EQ(differences(), 0U);
}

TEST_F(Rules, APortThatWasSwitchedOffIsWrittenAsOff) {
    add("swp1").enabled = false;
    EXPECT_EQ(differences(), 0U);
    EXPECT_NE(document().find("name = \"swp1\"\nmvrp = false\n"), std::string::npos);
}

TEST_F(Rules, TheWireFormatThatWasSetIsWritten) {
    add("tap0");
    running.vlans.ports[0].port.wireForm = static_cast<u32>(platform::WireForm::Auto);
    EXPECT_EQ(differences(), 0U);
}

TEST_F(Rules, ComplianceIsWrittenIntoManagementWhichKeepsTheRest) {
    const std::string text = std::string(kFile) + "\n[management]\ntimes = \"standard\"  # kept\n";
    file = load(text);
    running.global.compliance = true;
    const std::string after = runningDocument(text, file, running);
    EXPECT_NE(after.find("[management]\ncompliance = true\ntimes = \"standard\"  # kept\n"),
              std::string::npos)
        << after;
    EXPECT_EQ(compareConfig(load(after), running).size(), 0U);
    running.global.compliance = false;
    EXPECT_NE(runningDocument(after, load(after), running).find("compliance = false\n"),
              std::string::npos);
}

TEST(TomlBlocks, TheirTextsAreTheDocument) {
    for (const std::string text : {"", "\n", "# only\n", kFile, "[a]\nx = 1\n\n# end", "x = 1"}) {
        std::string all;
        for (const TomlBlock& block : tomlBlocks(text))
            all += block.text;
        EXPECT_EQ(all, text);
    }
}

}  // namespace
}  // namespace cli
