// SPDX-License-Identifier: MIT
#include "network/plan/forecast.h"

#include <gtest/gtest.h>

#include "network/show/forecast.h"
#include "platform/contract/corrections.h"
#include "tests/unit/network/plan_line.h"

namespace network {
namespace {

using testing::at;
using testing::kVlan;
using testing::plannedLine;
using testing::plannedSwitches;

constexpr u64 kLeaveMs = 600;

void correctAll(std::vector<Switch>& switches) {
    for (Switch& each : switches)
        each.corrections =
            std::vector<std::string>(kCorrectionNames.begin(), kCorrectionNames.end());
}

/// LeaveAlls of west and east that middle heard.
void tellTimers(std::vector<Switch>& switches, u64 westMs, u64 eastMs) {
    at(switches, "west", 0).leaveAllSentMs = at(switches, "middle", 0).leaveAllHeardMs = westMs;
    at(switches, "east", 0).leaveAllSentMs = at(switches, "middle", 1).leaveAllHeardMs = eastMs;
    for (Switch& each : switches)
        each.nextApplyMs = 500;
}

Forecast forecast(const std::vector<Switch>& switches, const ChangeWords& words,
                  const ForecastSettings& settings = {}) {
    const Network network = plannedLine(switches);
    return forecastOf(network, readChanges(network, words), settings);
}

ChangeWords cut(const std::string& word) {
    ChangeWords words;
    words.cut = {word};
    return words;
}

ChangeWords removal(const std::string& word) {
    ChangeWords words;
    words.remove = {word};
    return words;
}

TEST(Forecasts, ACutPartsThoseWhoWantAVlanAndTheNetworkAgreesBefore) {
    std::vector<Switch> switches = plannedSwitches();
    correctAll(switches);
    const Forecast found = forecast(switches, cut("west:middle"));
    EXPECT_TRUE(found.ended);
    EXPECT_TRUE(found.problems.empty());
    EXPECT_TRUE(found.unlike.empty());
    ASSERT_EQ(found.reaches.size(), 1U);
    EXPECT_EQ(found.reaches[0].kind, ReachKind::Lost);
    EXPECT_EQ(found.reaches[0].vlans, platform::vlanRange(kVlan, kVlan));
    ASSERT_EQ(found.endings.size(), 1U);
    EXPECT_EQ(found.endings[0].runs, found.runs);
    EXPECT_FALSE(found.endings[0].differences.empty());
    EXPECT_GE(found.quietMs.least, kLeaveMs);
}

TEST(Forecasts, TheSameQuestionHasTheSameAnswer) {
    std::vector<Switch> switches = plannedSwitches();
    tellTimers(switches, 1000, 2000);
    const Network network = plannedLine(switches);
    const auto changes = readChanges(network, cut("west:middle"));
    EXPECT_EQ(forecastJson(network, forecastOf(network, changes, {})),
              forecastJson(network, forecastOf(network, changes, {})));
}

TEST(Forecasts, TimersThatAreKnownSayWhenALeaveAllComes) {
    std::vector<Switch> switches = plannedSwitches();
    correctAll(switches);
    const ChangeWords words = cut("west:middle");
    ForecastSettings settings;
    settings.afterMs = 1000;
    tellTimers(switches, 1000, 2000);
    const Forecast known = forecast(switches, words, settings);
    EXPECT_EQ(known.portsKnown, 4U);
    EXPECT_EQ(known.portsRunning, 4U);
    EXPECT_LE(known.quietMs.most - known.quietMs.least, 200U);
    EXPECT_EQ(forecast(plannedSwitches(), words, settings).portsKnown, 0U);
}

TEST(Forecasts, EndingsAreOfAllRunsTheMostFrequentFirst) {
    const Forecast found = forecast(plannedSwitches(), removal("west:30"), {.runs = 9});
    u32 runs = 0;
    for (std::size_t i = 0; i < found.endings.size(); ++i) {
        runs += found.endings[i].runs;
        EXPECT_TRUE(i == 0 || found.endings[i].runs <= found.endings[i - 1].runs);
    }
    EXPECT_EQ(runs, 9U);
}

TEST(Forecasts, ARestartInterruptsAndAllIsAsBefore) {
    std::vector<Switch> switches = plannedSwitches();
    correctAll(switches);
    ChangeWords words;
    words.restart = {"middle"};
    const Forecast found = forecast(switches, words, {.outageMs = 700});
    ASSERT_EQ(found.reaches.size(), 1U);
    EXPECT_EQ(found.reaches[0].kind, ReachKind::Interrupted);
    EXPECT_GE(found.reaches[0].forMs, 700U);
    EXPECT_TRUE(found.endings[0].differences.empty());
}

TEST(Forecasts, ANeighbourWithoutASnapshotKeepsDeclaring) {
    std::vector<Switch> switches = plannedSwitches();
    correctAll(switches);
    tellTimers(switches, 1000, 2000);
    std::erase_if(switches, [](const Switch& each) { return each.name == "west"; });
    const Forecast found = forecast(switches, removal("east:30"));
    EXPECT_TRUE(found.unlike.empty());
    EXPECT_EQ(found.portsKnown, 3U);
}

/// A bridge's ports have the numbers of their interfaces, which grow as long as the machine runs.
TEST(Forecasts, LinuxBridgesAreForecastAsOtherSwitchesAre) {
    std::vector<Switch> switches = plannedSwitches();
    correctAll(switches);
    const Forecast expected = forecast(switches, cut("west:middle"));
    for (Switch& each : switches) {
        each.linux = true;
        for (Port& port : each.ports)
            port.number += 60'000;
    }
    const Forecast found = forecast(switches, cut("west:middle"));
    EXPECT_TRUE(found.problems.empty());
    EXPECT_TRUE(found.unlike.empty());
    ASSERT_EQ(found.reaches.size(), 1U);
    EXPECT_EQ(found.reaches[0].kind, ReachKind::Lost);
    ASSERT_EQ(found.endings.size(), 1U);
    EXPECT_EQ(found.endings[0].differences, expected.endings[0].differences);
    EXPECT_EQ(found.quietMs.middle, expected.quietMs.middle);
}

TEST(Forecasts, AnUncertainEndIsToldAsOne) {
    Forecast found;
    found.runs = 5;
    found.portsKnown = found.portsRunning = 4;
    found.afterMs = 1500;
    found.endings = {{3, {{"s1:p1", "member", "10,30", "30"}}},
                     {2, {{"s1:p1", "member", "10,30", "10,30"}, {"s2:p1", "member", "-", "7"}}}};
    const std::string text = forecastText(found, {});
    for (const char* const words : {"1.50 s after the newest snapshot", "known of 4 of 4 ports",
                                    "in 3 of 5 runs", "Or else", "Chance decides"})
        EXPECT_NE(text.find(words), std::string::npos) << words << "\n" << text;
    found.endings.pop_back();
    EXPECT_EQ(forecastText(found, {}).find("Or else"), std::string::npos);
    found.endings = {{5, {}}};
    EXPECT_NE(forecastText(found, {}).find("At the end all is as before."), std::string::npos);
}

}  // namespace
}  // namespace network
