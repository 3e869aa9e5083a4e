// SPDX-License-Identifier: MIT
#include "cli/status/status.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

namespace cli {
namespace {

PortView portOf(u32 unit, bool up, bool runs) {
    PortView view;
    view.port.unit = unit;
    ("swp" + std::to_string(unit)).copy(view.port.name.data(), view.port.name.size() - 1);
    view.port.link = up ? 1 : 0;
    view.port.eligible = 1;
    if (runs)
        view.settings = PortSettings{true, 1, 1, 1000, 200, 600, 10000};
    return view;
}

/// A switch of 48 ports of which some are connected, and one has a neighbour.
StatusFacts healthy() {
    StatusFacts facts;
    facts.daemon.state = DaemonState::Answers;
    facts.daemon.global.enabled = true;
    std::string("core").copy(facts.daemon.global.host.name.data(), 8);
    facts.daemon.global.host.driver = static_cast<u32>(platform::DriverKind::SoftwareSwitch);
    facts.daemon.global.host.role = static_cast<u32>(platform::HostRole::Active);
    for (u32 unit = 1; unit <= 48; ++unit)
        facts.daemon.ports.push_back(portOf(unit, unit <= 40, unit <= 44));
    PortView& heard = facts.daemon.ports.front();
    heard.port.peerMac = {2, 0, 0, 0, 0, 1};
    heard.port.heardForm = static_cast<u32>(platform::WireForm::Ieee);
    heard.registered = platform::vlanRange(1, 20);
    facts.staticVlans = platform::vlanRange(1, 10);
    facts.learntVlans = platform::vlanRange(11, 20);
    platform::PortStatisticsRecord statistics{};
    statistics.lastPduMs = 3000;
    facts.daemon.statistics[1] = statistics;
    platform::ChangeRecord change{};
    change.kind = static_cast<u32>(platform::ChangeKind::MemberAdded);
    change.unit = 1;
    change.firstVid = 11;
    change.lastVid = 20;
    facts.changes = gather({change});
    return facts;
}

std::string textOf(const StatusFacts& facts, std::size_t width = 0) {
    return statusPageText(facts, pageOf(facts), {false, width});
}

Finding finding(Severity severity, const char* id, const char* subject) {
    return {severity, id, subject, "something was seen", {"mvrpctl mend"}};
}

TEST(Status, BeginsWithTheVerdict) {
    EXPECT_TRUE(textOf(healthy()).starts_with("All is well.\n\nSwitch"));
    StatusFacts facts = healthy();
    facts.findings = {finding(Severity::Note, "a", "swp1")};
    EXPECT_TRUE(textOf(facts).starts_with("All is well. 1 note: mvrpctl doctor\n"));
    EXPECT_FALSE(pageOf(facts).next);
}

TEST(Status, SaysTheOneThingToDoNext) {
    StatusFacts facts = healthy();
    facts.findings = {
        finding(Severity::Error, "loop", "swp3"), finding(Severity::Error, "loop", "swp4"),
        finding(Severity::Error, "other", "swp9"), finding(Severity::Warning, "loop", "swp5"),
        finding(Severity::Note, "loop", "swp6")};
    const std::string text = textOf(facts);
    EXPECT_TRUE(
        text.starts_with("Wrong: swp3-4: something was seen.\n"
                         "  mvrpctl mend\n"
                         "  2 other findings: mvrpctl doctor\n"))
        << text;
}

TEST(Status, HasPortsAsRangesByState) {
    const std::string text = textOf(healthy());
    EXPECT_NE(text.find("40 link up, MVRP on: swp1-40\n"), std::string::npos) << text;
    EXPECT_NE(text.find("4 link down, MVRP on: swp41-44\n"), std::string::npos) << text;
    EXPECT_NE(text.find("4 link down, MVRP off: swp45-48\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Nobody is heard on swp2-40.\n"), std::string::npos) << text;
}

TEST(Status, TellsWhatWasLearntFromAPeer) {
    const StatusPage page = pageOf(healthy());
    ASSERT_EQ(page.peers.size(), 1U);
    EXPECT_EQ(page.peers[0].speaks, "ieee");
    EXPECT_EQ(page.peers[0].heardMs, 3000U);
    EXPECT_EQ(platform::formatVlanRanges(page.peers[0].declared), "11-20");
}

TEST(Status, FitsEightyColumnsAndAPage) {
    StatusFacts facts = healthy();
    for (u32 vid = 20; vid < 3000; vid += 3)
        platform::vlanInsert(facts.learntVlans, vid);
    for (PortView& view : facts.daemon.ports)
        view.port.peerMac = {2, 0, 0, 0, 0, 9};
    facts.daemon.ports[0].registered = facts.learntVlans;
    facts.findings = {finding(Severity::Warning, "w", "swp1")};
    facts.findings[0].seen =
        std::string(30, 'x') + " " + std::string(40, 'y') + " " + std::string(40, 'z');
    std::istringstream lines(textOf(facts, 80));
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_LE(line.size(), 80U) << line;
    EXPECT_LE(count, 30U);
}

TEST(Status, WithoutADaemonIsTheVerdictAlone) {
    StatusFacts facts;
    facts.findings = {finding(Severity::Error, "daemon-not-running", "daemon")};
    EXPECT_EQ(textOf(facts), "Wrong: daemon: something was seen.\n  mvrpctl mend\n");
    const auto json = nlohmann::json::parse(statusPageJson(facts, pageOf(facts)));
    EXPECT_FALSE(json["well"]);
    EXPECT_TRUE(json["switch"].is_null());
}

TEST(Status, HasColoursOnlyWhereTheyAreWanted) {
    EXPECT_EQ(textOf(healthy(), 80).find('\x1b'), std::string::npos);
    const StatusFacts facts = healthy();
    EXPECT_NE(statusPageText(facts, pageOf(facts), {true, 80}).find("\x1b[32mAll is well."),
              std::string::npos);
}

}  // namespace
}  // namespace cli
