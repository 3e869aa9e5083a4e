// SPDX-License-Identifier: MIT
//
// A configuration of several files: what becomes one, what is refused, and where it says so.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/config/load.h"
#include "platform/config/reload/reload_check.h"
#include "tests/scratch_directory.h"

namespace platform {
namespace {

class Fragments : public testing::Test {
  protected:
    void write(const std::string& name, const std::string& text) {
        std::filesystem::create_directories(directory_.path("conf.d"));
        std::ofstream(directory_.path(name)) << text;
    }
    LoadedConfig load() const { return loadConfig(main_); }
    /// The problems, each a line, without the directory of the files.
    std::string problems() const {
        std::string text;
        for (const ConfigProblem& problem : load().problems)
            text += formatProblem(main_, problem) + "\n";
        for (std::size_t at = 0; (at = text.find(directory_.path() + "/")) != std::string::npos;)
            text.erase(at, directory_.path().size() + 1);
        return text;
    }

    const ScratchDirectory directory_;
    const std::string main_ = directory_.path("mvrp.toml");
};

TEST_F(Fragments, WithoutADirectoryThereAreNone) {
    std::ofstream(main_) << "[switch]\nname = \"sw\"\n";
    const LoadedConfig loaded = load();
    ASSERT_TRUE(loaded.config) << problems();
    EXPECT_EQ(loaded.config->parts.size(), 1U);
}

TEST_F(Fragments, TablesBecomeOneAndArraysOfTablesAreAppended) {
    write("mvrp.toml", "[switch]\nname = \"sw\"\n[[port]]\nunit = 1\n[[vlan]]\nids = \"10\"\n");
    write("conf.d/10-west.toml",
          "[[port]]\nunit = 2\nname = \"west\"\n[switch]\nloop-guard = true\n");
    write("conf.d/20-vlans.toml", "[[vlan]]\nids = \"20-22\"\n");
    const LoadedConfig loaded = load();
    ASSERT_TRUE(loaded.config) << problems();
    const HostConfig& config = *loaded.config;
    EXPECT_EQ(config.network.name, "sw");
    EXPECT_TRUE(config.network.loopGuard);
    ASSERT_EQ(config.network.ports.size(), 2U);
    EXPECT_EQ(config.network.ports[1].name, "west");
    EXPECT_EQ(formatVlanRanges(config.network.staticVlans), "1,10,20-22");
    ASSERT_EQ(config.parts.size(), 3U);
    EXPECT_EQ(config.parts[1].fragment, "10-west.toml");
    EXPECT_EQ(config.parts[2].settings.back(), "[[vlan]] 20-22 ids");
}

TEST_F(Fragments, ArraysInTablesAreAppended) {
    write("mvrp.toml",
          "[switch]\n[[port]]\nunit = 1\n[[port]]\nunit = 2\n[management]\n"
          "enable = true\n[[management.port]]\nunit = 1\nenable = true\n");
    write("conf.d/a.toml", "[[management.port]]\nunit = 2\nenable = true\n");
    const LoadedConfig loaded = load();
    ASSERT_TRUE(loaded.config) << problems();
    EXPECT_EQ(loaded.config->management.ports.size(), 2U);
}

TEST_F(Fragments, TheyComeInTheByteOrderOfTheirNames) {
    write("mvrp.toml", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\n");
    for (const char* name : {"b", "a", "Z", "10", "9"})
        write(std::string("conf.d/") + name + ".toml",
              "[[port]]\nname = \"" + std::string(name) + "\"\n");
    const LoadedConfig loaded = load();
    ASSERT_TRUE(loaded.config) << problems();
    std::string order;
    for (const LinuxPortRule& rule : loaded.config->network.linuxBridge.rules)
        order += rule.pattern + " ";
    EXPECT_EQ(order, "10 9 Z a b ");
}

TEST_F(Fragments, WhatIsNoFragmentIsNotRead) {
    write("mvrp.toml", "[switch]\n");
    write("conf.d/.hidden.toml", "wrong");
    write("conf.d/a.toml~", "wrong");
    write("conf.d/a.toml.dpkg-new", "wrong");
    write("conf.d/README", "wrong");
    EXPECT_EQ(problems(), "");
}

TEST_F(Fragments, ASettingInTwoFilesIsRefusedAndBothAreNamed) {
    write("mvrp.toml", "[switch]\nname = \"sw\"\n\n[metrics]\nlisten = \"\"\n");
    write("conf.d/a.toml", "[metrics]\nlisten = \"127.0.0.1:9620\"\n");
    EXPECT_EQ(problems().substr(0, problems().find(';')),
              "conf.d/a.toml:2:1: [metrics] listen is set already in mvrp.toml:5");
}

TEST_F(Fragments, TwoFragmentsThatSetTheSameAreBothNamed) {
    write("mvrp.toml", "[switch]\n");
    write("conf.d/a.toml", "\n[switch]\nname = \"a\"\n");
    write("conf.d/b.toml", "[switch]\nname = \"b\"\n");
    EXPECT_NE(problems().find("conf.d/b.toml:2:1: [switch] name is set already in conf.d/a.toml:3"),
              std::string::npos)
        << problems();
}

TEST_F(Fragments, OnesSettingsTableIsAnothersText) {
    write("mvrp.toml", "[switch]\n");
    write("conf.d/a.toml", "switch = 5\n");
    EXPECT_NE(problems().find("conf.d/a.toml:1:1: switch is set already in mvrp.toml:1"),
              std::string::npos)
        << problems();
}

TEST_F(Fragments, EachErrorNamesFileAndLine) {
    write("mvrp.toml", "[switch]\nname = 5\n");
    write("conf.d/a.toml", "[[port]]\nunit = 1\n\nnmae = \"x\"\n");
    write("conf.d/b.toml", "[store]\nfile = 7\n");
    const std::string text = problems();
    const std::size_t first = text.find("mvrp.toml:2:8: ");
    const std::size_t second = text.find("\nconf.d/a.toml:4:1: ");
    const std::size_t third = text.find("\nconf.d/b.toml:2:8: ");
    ASSERT_NE(third, std::string::npos) << text;
    EXPECT_LT(first, second);
    EXPECT_LT(second, third);
}

TEST_F(Fragments, WrongSyntaxIsShownInEveryFile) {
    write("mvrp.toml", "[switch\n");
    write("conf.d/a.toml", "x = \n");
    const std::string text = problems();
    EXPECT_NE(text.find("mvrp.toml:1:"), std::string::npos) << text;
    EXPECT_NE(text.find("conf.d/a.toml:1:"), std::string::npos) << text;
}

TEST_F(Fragments, APortInTwoFilesIsRefused) {
    write("mvrp.toml", "[switch]\n[[port]]\nunit = 1\n");
    write("conf.d/a.toml", "[[port]]\nunit = 1\n");
    EXPECT_NE(problems().find("conf.d/a.toml:2:8: "), std::string::npos) << problems();
}

TEST_F(Fragments, OneThatCanNotBeReadIsNamed) {
    write("mvrp.toml", "[switch]\n");
    ASSERT_EQ(mkfifo(((std::filesystem::create_directories(directory_.path("conf.d")),
                       directory_.path("conf.d/a.toml")))
                         .c_str(),
                     0600),
              0);
    EXPECT_EQ(problems(),
              "conf.d/a.toml: can not be read: not a file (a FIFO, a device or a directory is "
              "none)\n");
}

TEST_F(Fragments, AllTogetherAreBounded) {
    const std::string comment = "#" + std::string(kMaxConfigBytes / 2, 'x') + "\n";
    write("mvrp.toml", "[switch]\n" + comment);
    write("conf.d/a.toml", comment);
    EXPECT_NE(problems().find("conf.d/a.toml: is larger than"), std::string::npos) << problems();
}

TEST_F(Fragments, AFragmentThatIsEmptiedIsTakenForCutOff) {
    write("mvrp.toml", "[switch]\n[[port]]\nunit = 1\n[store]\nfile = \"\"\n");
    write("conf.d/a.toml", "[[port]]\nunit = 2\n");
    const LoadedConfig running = load();
    write("conf.d/a.toml", "");
    const std::string refusal = reloadRefusal(*running.config, *load().config);
    EXPECT_TRUE(refusal.starts_with("the end of a.toml is not there")) << refusal;
    EXPECT_NE(refusal.find("port 2"), std::string::npos) << refusal;
}

TEST_F(Fragments, AFragmentThatIsRemovedIsMeant) {
    write("mvrp.toml", "[switch]\n[[port]]\nunit = 1\n[store]\nfile = \"\"\n");
    write("conf.d/a.toml", "[[port]]\nunit = 2\n");
    const LoadedConfig running = load();
    std::filesystem::remove(directory_.path("conf.d/a.toml"));
    EXPECT_EQ(reloadRefusal(*running.config, *load().config), "");
}

TEST_F(Fragments, WhatMovesFromOneFileIntoAnotherIsNotCutOff) {
    write("mvrp.toml", "[switch]\n[[port]]\nunit = 1\n[[port]]\nunit = 2\n");
    const LoadedConfig running = load();
    write("mvrp.toml", "[switch]\n[[port]]\nunit = 1\n");
    write("conf.d/a.toml", "[[port]]\nunit = 2\n");
    EXPECT_EQ(reloadRefusal(*running.config, *load().config), "");
}

TEST(ParserFault, IsFoundInALongDocumentByHalving) {
    std::string document;
    for (int line = 0; line < 20000; line++)
        document += "# a line\n";
    document += "a = [\n\n[\n";
    const LoadedConfig loaded = parseConfig(document + "b = 1\n");
    ASSERT_EQ(loaded.problems.size(), 1U);
    EXPECT_GT(loaded.problems[0].place.line, 20000U);
    EXPECT_LE(loaded.problems[0].place.line, 20004U);
}

}  // namespace
}  // namespace platform
