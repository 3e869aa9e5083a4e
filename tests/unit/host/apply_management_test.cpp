// SPDX-License-Identifier: MIT
//
// From one set of management settings to another: the calls that the daemon gets, in order.
#include "platform/host/apply_management.h"

#include <gtest/gtest.h>

#include "tests/unit/channel/fake_daemon.h"

namespace platform {
namespace {

constexpr u32 kOn = 1;
constexpr u32 kOff = 2;

using Calls = std::vector<std::string>;

class Management : public testing::Test {
  protected:
    Management() {
        fake::reset();
        dispatcher_.setTable(fake::table());
    }

    /// The calls that lead from `before` to `wanted`.
    Calls apply(const ManagementConfig& before, const ManagementConfig& wanted) {
        fake::daemon().calls.clear();
        refused_ = applyManagement(dispatcher_, before, wanted);
        return fake::daemon().calls;
    }

    static ManagementConfig enabled() {
        ManagementConfig config;
        config.enable = kOn;
        return config;
    }

    static PortManagement enabledPort() {
        PortManagement port;
        port.enable = kOn;
        return port;
    }

    Dispatcher dispatcher_;
    u32 refused_ = 0;
};

TEST_F(Management, NothingConfiguredChangesNothing) {
    EXPECT_EQ(apply({}, {}), Calls{});
}

TEST_F(Management, AStartEnablesTheDaemonThenComplianceThenThePortsWithTheirSettings) {
    ManagementConfig wanted = enabled();
    wanted.compliance = kOn;
    wanted.ports[3] = enabledPort();
    wanted.ports[3].registration = 2;
    wanted.ports[9] = enabledPort();
    const Calls expected = {"set scalar 1 = 1", "set scalar 3 = 1", "set port 3 1 = 1",
                            "set port 3 2 = 2", "set port 9 1 = 1"};
    EXPECT_EQ(apply({}, wanted), expected);
    EXPECT_EQ(refused_, 0U);
}

TEST_F(Management, TheSameSettingsAgainChangeNothing) {
    ManagementConfig wanted = enabled();
    wanted.ports[3] = enabledPort();
    wanted.ports[3].joinTime = 200;
    EXPECT_EQ(apply(wanted, wanted), Calls{});
}

TEST_F(Management, OnlyADifferentSettingIsSet) {
    ManagementConfig before = enabled();
    before.ports[3] = enabledPort();
    before.ports[3].periodicTime = 1000;
    ManagementConfig wanted = before;
    wanted.ports[3].periodicTime = 2000;
    apply({}, before);
    EXPECT_EQ(apply(before, wanted), Calls{"set port 3 4 = 2000"});
}

TEST_F(Management, WhatIsNoLongerEnabledIsDisabled) {
    ManagementConfig before = enabled();
    before.compliance = kOn;
    before.ports[3] = enabledPort();
    before.ports[9] = enabledPort();
    apply({}, before);
    ManagementConfig wanted = enabled();
    wanted.ports[9].enable = kOff;
    const Calls expected = {"set port 3 1 = 2", "set port 9 1 = 2", "set scalar 3 = 2"};
    EXPECT_EQ(apply(before, wanted), expected);
    EXPECT_EQ(apply(before, {}), Calls{"set scalar 1 = 2"});
}

TEST_F(Management, APortThatIsEnabledAgainGetsAllItsSettingsAgain) {
    ManagementConfig before = enabled();
    before.ports[3].registration = 2;
    ManagementConfig wanted = before;
    wanted.ports[3].enable = kOn;
    apply({}, before);
    EXPECT_EQ(apply(before, wanted), (Calls{"set port 3 1 = 1", "set port 3 2 = 2"}));
}

TEST_F(Management, TimesThatFitTogetherAreSetInWhateverOrderThatTakes) {
    struct Times {
        u32 join, leave, leaveAll;
    };
    constexpr std::array kSets = {Times{6000, 30000, 120000}, Times{200, 450, 650},
                                  Times{3000, 30000, 30000},  Times{200, 20000, 327650},
                                  Times{225, 450, 650},       Times{6000, 12000, 12000}};
    for (const Times& from : kSets)
        for (const Times& to : kSets) {
            fake::reset();
            fake::daemon().checksTimes = true;
            fake::daemon().attributes = {
                {{3, 5}, from.join}, {{3, 6}, from.leave}, {{3, 7}, from.leaveAll}};
            ManagementConfig before = enabled();
            before.ports[3] = enabledPort();
            ManagementConfig wanted = before;
            wanted.ports[3].joinTime = to.join;
            wanted.ports[3].leaveTime = to.leave;
            wanted.ports[3].leaveAllTime = to.leaveAll;
            apply(before, wanted);
            EXPECT_EQ(refused_, 0U);
            EXPECT_EQ((fake::daemon().attributes[{3, 5}]), to.join);
            EXPECT_EQ((fake::daemon().attributes[{3, 6}]), to.leave);
            EXPECT_EQ((fake::daemon().attributes[{3, 7}]), to.leaveAll);
        }
}

TEST_F(Management, ARefusalIsLoggedOnceAndTheRestIsApplied) {
    fake::daemon().checksTimes = true;
    ManagementConfig wanted = enabled();
    wanted.ports[3] = enabledPort();
    wanted.ports[3].leaveAllTime = 1;
    wanted.ports[3].leaveTime = 500;
    wanted.ports[7] = enabledPort();  // there is no such port
    wanted.ports[9] = enabledPort();
    testing::internal::CaptureStderr();
    const Calls calls = apply({}, wanted);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(calls.back(), "set port 9 1 = 1");
    EXPECT_EQ(refused_, 2U);
    EXPECT_NE(log.find("unit 3 leave-time"), std::string::npos) << log;
    EXPECT_NE(log.find("unit 7 enable: the daemon refused"), std::string::npos) << log;
}

}  // namespace
}  // namespace platform
