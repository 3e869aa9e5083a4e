// SPDX-License-Identifier: MIT
//
// What each kind of configuration needs, and that nothing else is left of a process' privileges.
#include "platform/host/privileges.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>

namespace platform {
namespace {

HostConfig softSwitch(CableKind cable) {
    HostConfig config;
    config.network.ports.resize(1);
    config.network.ports[0].cable.kind = cable;
    return config;
}

HostConfig linuxBridge() {
    HostConfig config;
    config.network.driver = DriverKind::LinuxBridge;
    return config;
}

TEST(PrivilegeNeeds, ASoftwareSwitchNeedsNothingAndIsNotRootWhereThereIsAUserForIt) {
    PrivilegeNeeds nothing;
    nothing.user = kOwnUser;
    nothing.userOptional = true;
    EXPECT_EQ(privilegesFor(softSwitch(CableKind::Unix)), nothing);
    EXPECT_EQ(privilegesFor(softSwitch(CableKind::None)), nothing);
}

TEST(PrivilegeNeeds, RootStaysRootWhereTheFileSaysSo) {
    HostConfig config = softSwitch(CableKind::None);
    config.process.keepRoot = true;
    EXPECT_EQ(privilegesFor(config), PrivilegeNeeds{});
    config = linuxBridge();
    config.process.keepRoot = true;
    EXPECT_EQ(privilegesFor(config).user, "");
}

TEST(PrivilegeNeeds, ACableToAnInterfaceKeepsRawSocketsWhereTheyAreAllowed) {
    const PrivilegeNeeds needs = privilegesFor(softSwitch(CableKind::Interface));
    EXPECT_TRUE(needs.required.empty());
    EXPECT_EQ(needs.wanted, std::vector<unsigned>{CAP_NET_RAW});
}

TEST(PrivilegeNeeds, SoDoesTheSettingForCablesThatComeLater) {
    HostConfig config = softSwitch(CableKind::None);
    config.process.keepNetRaw = true;
    EXPECT_EQ(privilegesFor(config).wanted, std::vector<unsigned>{CAP_NET_RAW});
}

TEST(PrivilegeNeeds, TheLinuxDriverNeedsItsTwoAndBecomesItsOwnUserWhereThereIsOne) {
    const PrivilegeNeeds needs = privilegesFor(linuxBridge());
    EXPECT_EQ(needs.required, (std::vector<unsigned>{CAP_NET_ADMIN, CAP_NET_RAW}));
    EXPECT_EQ(needs.user, kOwnUser);
    EXPECT_TRUE(needs.userOptional);
}

TEST(PrivilegeNeeds, AConfiguredUserIsNotOptionalAndTheSocketsGroupIsJoined) {
    HostConfig config = linuxBridge();
    config.process.user = "daemon";
    config.commandGroup = "mail";
    const PrivilegeNeeds needs = privilegesFor(config);
    EXPECT_EQ(needs.user, "daemon");
    EXPECT_FALSE(needs.userOptional);
    EXPECT_EQ(needs.groups, std::vector<std::string>{"mail"});
}

/// The lines of /proc/self/status by their names.
std::map<std::string, std::string> processStatus() {
    std::ifstream file("/proc/self/status");
    std::map<std::string, std::string> lines;
    for (std::string line; std::getline(file, line);) {
        const auto colon = line.find(":\t");
        if (colon != std::string::npos)
            lines[line.substr(0, colon)] = line.substr(colon + 2);
    }
    return lines;
}

u64 capabilitySet(const std::map<std::string, std::string>& status, const char* name) {
    return std::stoull(status.at(name), nullptr, 16);
}

/// Runs a check in a process of its own, which ends with the number that it returns.
int inChild(const std::function<int()>& check) {
    const pid_t child = fork();
    if (child == 0)
        _exit(check());
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// @return 0, or the number of the first thing that is not as it should be
int lookAtProcess(u64 allowed, bool mayBound) {
    const auto status = processStatus();
    if (capabilitySet(status, "CapPrm") != allowed || capabilitySet(status, "CapEff") != allowed)
        return 1;
    if (capabilitySet(status, "CapInh") != 0 || capabilitySet(status, "CapAmb") != 0)
        return 2;
    if (mayBound && capabilitySet(status, "CapBnd") != 0)
        return 3;
    return status.at("NoNewPrivs") == "1" ? 0 : 4;
}

TEST(Privileges, NothingIsLeftWhereNothingIsNeeded) {
    const bool isRoot = geteuid() == 0;
    EXPECT_EQ(inChild([isRoot] {
                  std::string error;
                  if (!dropPrivileges(PrivilegeNeeds{}, error))
                      return 10;
                  return lookAtProcess(0, isRoot);
              }),
              0);
}

TEST(Privileges, WhatIsWantedIsKeptOnlyWhereItIsThere) {
    EXPECT_EQ(inChild([] {
                  PrivilegeNeeds needs;
                  std::string error;
                  if (!dropPrivileges(needs, error))
                      return 10;
                  needs.wanted = {CAP_NET_RAW};
                  return dropPrivileges(needs, error) ? lookAtProcess(0, false) : 11;
              }),
              0);
}

TEST(Privileges, WhatIsMissingIsNamed) {
    EXPECT_EQ(inChild([] {
                  std::string error;
                  if (!dropPrivileges(PrivilegeNeeds{}, error))
                      return 10;
                  const bool dropped = dropPrivileges(privilegesFor(linuxBridge()), error);
                  const bool named =
                      error.find("CAP_NET_ADMIN and CAP_NET_RAW") != std::string::npos;
                  return !dropped && named ? 0 : 11;
              }),
              0);
}

TEST(Privileges, AUserThatIsNotThereIsRefused) {
    EXPECT_EQ(inChild([] {
                  PrivilegeNeeds needs;
                  needs.user = "no-such-user";
                  std::string error;
                  return !dropPrivileges(needs, error) &&
                                 error.find("no-such-user") != std::string::npos
                             ? 0
                             : 1;
              }),
              0);
}

class AsRoot : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root";
    }
};

TEST_F(AsRoot, AnotherUserHoldsTheTwoCapabilitiesAndIsInTheSocketsGroup) {
    EXPECT_EQ(
        inChild([] {
            HostConfig config = linuxBridge();
            config.process.user = "daemon";
            config.commandGroup = "mail";
            std::string error;
            if (!dropPrivileges(privilegesFor(config), error))
                return 10;
            const passwd* user = getpwnam("daemon");
            if (getuid() != user->pw_uid || geteuid() != user->pw_uid || getegid() != user->pw_gid)
                return 11;
            if (setuid(0) == 0)
                return 12;
            const auto status = processStatus();
            if ((" " + status.at("Groups")).find(" 8 ") == std::string::npos)
                return 13;
            if (heldPrivileges().find("CAP_NET_ADMIN and CAP_NET_RAW") == std::string::npos)
                return 14;
            return lookAtProcess(1ULL << CAP_NET_ADMIN | 1ULL << CAP_NET_RAW, true);
        }),
        0);
}

TEST_F(AsRoot, AMissingOwnUserLeavesRootWithTheTwoCapabilities) {
    EXPECT_EQ(inChild([] {
                  PrivilegeNeeds needs = privilegesFor(linuxBridge());
                  needs.user = "no-such-user";
                  std::string error;
                  if (!dropPrivileges(needs, error) || geteuid() != 0)
                      return 10;
                  return lookAtProcess(1ULL << CAP_NET_ADMIN | 1ULL << CAP_NET_RAW, true);
              }),
              0);
}

TEST_F(AsRoot, OnlyRootBecomesAnotherUser) {
    EXPECT_EQ(inChild([] {
                  PrivilegeNeeds needs;
                  needs.user = "daemon";
                  std::string error;
                  if (!dropPrivileges(needs, error))
                      return 10;
                  needs.user = "mail";
                  return !dropPrivileges(needs, error) &&
                                 error.find("only root") != std::string::npos
                             ? 0
                             : 11;
              }),
              0);
}

}  // namespace
}  // namespace platform
