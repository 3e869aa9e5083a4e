// SPDX-License-Identifier: MIT
//
// Each finding of the doctor, from facts made up for it; and none where nothing is wrong.
#include "cli/doctor/doctor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

namespace cli {
namespace {

constexpr u32 kBridge = 5;
constexpr u32 kUplink = 7;
constexpr u32 kTap = 9;
constexpr u16 kGuardPlace = 33;

platform::KernelLink link(u32 index, const char* name, u32 master) {
    platform::KernelLink made;
    made.index = index;
    made.name = name;
    made.master = master;
    made.mtu = 1500;
    made.adminUp = made.carrier = true;
    made.bridgePort = master != 0;
    made.stpState = platform::StpState::Forwarding;
    return made;
}

PortView port(u32 unit, const char* name) {
    PortView view;
    view.port.unit = unit;
    view.port.link = 1;
    view.port.protocols = 1;
    view.port.wireForm = static_cast<u32>(platform::WireForm::Auto);
    view.port.heardForm = static_cast<u32>(platform::WireForm::Ieee);
    view.permitted = platform::vlanRange(platform::kFirstVlan, platform::kLastVlan);
    std::string(name).copy(view.port.name.data(), view.port.name.size() - 1);
    view.settings = PortSettings{true, 1, 1, 1000, 200, 600, 10000};
    view.counters.framesIn = 12;
    platform::vlanInsert(view.registered, 10);
    platform::vlanInsert(view.dynamic, 10);
    return view;
}

/// A bridge br0 with an uplink that takes part and a tap0 that does not.
DoctorFacts healthy() {
    DoctorFacts facts;
    facts.daemon.state = DaemonState::Answers;
    facts.daemon.global.enabled = true;
    facts.daemon.global.host.driver = static_cast<u32>(platform::DriverKind::LinuxBridge);
    facts.daemon.global.host.role = static_cast<u32>(platform::HostRole::Active);
    facts.daemon.global.host.uptimeMs = 3'600'000;
    facts.daemon.ports = {port(kUplink, "uplink")};
    platform::PortStatisticsRecord statistics{};
    statistics.sinceMs = 3'600'000;
    statistics.pdusIn = {0, 12, 0};
    facts.daemon.statistics[kUplink] = statistics;

    platform::SystemFacts& system = facts.system;
    system.configThere = true;
    system.configFile = "/etc/mvrp/mvrp.toml";
    system.config.emplace();
    system.config->network.driver = platform::DriverKind::LinuxBridge;
    system.config->network.linuxBridge.bridge = "br0";
    system.config->network.linuxBridge.guard = platform::GuardedPorts::TakingPart;
    system.links = {link(kBridge, "br0", 0), link(kUplink, "uplink", kBridge),
                    link(kTap, "tap0", kBridge)};
    system.links[0].kind = platform::LinkKind::Bridge;
    system.links[0].vlanFiltering = true;
    platform::KernelVlans vlans;
    vlans.index = kUplink;
    platform::vlanInsert(vlans.carried, 10);
    system.vlans = {vlans};
    system.guards = {{kUplink, true, kGuardPlace}, {kTap, false, kGuardPlace}};
    return facts;
}

platform::SystemFacts& systemOf(DoctorFacts& facts) {
    return facts.system;
}
PortView& uplinkOf(DoctorFacts& facts) {
    return facts.daemon.ports[0];
}
platform::KernelLink& uplinkLink(DoctorFacts& facts) {
    return facts.system.links[1];
}
void addRule(DoctorFacts& facts, const char* pattern) {
    platform::LinuxPortRule rule;
    rule.pattern = pattern;
    systemOf(facts).config->network.linuxBridge.rules.push_back(rule);
}

TEST(Doctor, FindsNothingWhereNothingIsWrong) {
    const std::vector<Finding> findings = examine(healthy());
    for (const Finding& finding : findings)
        ADD_FAILURE() << finding.id << ": " << finding.seen;
    EXPECT_EQ(findingsText(findings, {}), "Nothing found.\n");
}

struct Case {
    const char* id;
    Severity severity;
    const char* subject;
    const char* command;  ///< part of one of the commands; empty: there is none
    std::function<void(DoctorFacts&)> harm;
};

void PrintTo(const Case& one, std::ostream* out) {
    *out << one.id;
}

class DoctorFinds : public testing::TestWithParam<Case> {};

TEST_P(DoctorFinds, JustThat) {
    DoctorFacts facts = healthy();
    GetParam().harm(facts);
    const std::vector<Finding> findings = examine(facts);
    ASSERT_FALSE(findings.empty());
    for (const Finding& finding : findings) {
        EXPECT_EQ(finding.id, GetParam().id) << finding.seen;
        EXPECT_EQ(finding.severity, GetParam().severity);
        EXPECT_EQ(finding.subject, GetParam().subject);
        EXPECT_FALSE(finding.seen.empty());
        const std::string wanted = GetParam().command;
        EXPECT_EQ(finding.commands.empty(), wanted.empty());
        EXPECT_TRUE(wanted.empty() || std::ranges::any_of(finding.commands,
                                                          [&wanted](const std::string& command) {
                                                              return command.find(wanted) !=
                                                                     std::string::npos;
                                                          }))
            << wanted;
    }
}

constexpr u32 kActive = static_cast<u32>(platform::HostRole::Active);
constexpr u32 kStandby = static_cast<u32>(platform::HostRole::Standby);

/// This daemon is one of a pair, in this role, and the other one is there in the other.
platform::StandbyInfoRecord& pairOf(DoctorFacts& facts, u32 role) {
    facts.daemon.global.host.role = role;
    platform::StandbyInfoRecord info{};
    info.configured = info.otherThere = 1;
    info.role = role;
    info.otherRole = role == kActive ? kStandby : kActive;
    info.otherProcess = 4711;
    return facts.daemon.global.standby.emplace(info);
}

/// The file switches MVRP on at tap0, which the daemon knows and does not run it on.
void wantTap(DoctorFacts& facts) {
    addRule(facts, "tap0");
    systemOf(facts).config->network.linuxBridge.rules.back().management.enable = 1;
    PortView tap = port(kTap, "tap0");
    tap.settings.reset();
    tap.port.protocols = 0;
    tap.port.eligible = 1;
    tap.registered = tap.dynamic = {};
    facts.daemon.ports.push_back(tap);
}

PortGaps& gapsOfUplink(DoctorFacts& facts) {
    return facts.daemon.gaps[kUplink];
}

// NOLINTBEGIN(cert-err58-cpp)
const std::vector<Case> kCases = {
    {"config-wrong", Severity::Error, "configuration", "mvrp --check --config /etc/mvrp/mvrp.toml",
     [](DoctorFacts& facts) { systemOf(facts).configProblems = {"mvrp.toml:3:1: wrong"}; }},
    {"globally-off", Severity::Error, "daemon", "mvrpctl set global enable on",
     [](DoctorFacts& facts) { facts.daemon.global.enabled = false; }},
    {"static-not-declared", Severity::Warning, "uplink", "mvrpctl explain uplink 30",
     [](DoctorFacts& facts) { platform::vlanInsert(gapsOfUplink(facts).undeclared, 30); }},
    {"static-not-declared", Severity::Warning, "uplink", "mvrpctl explain uplink 30",
     [](DoctorFacts& facts) { platform::vlanInsert(gapsOfUplink(facts).unrenewed, 30); }},
    {"not-passed-on", Severity::Warning, "uplink", "mvrpctl explain uplink 30",
     [](DoctorFacts& facts) { platform::vlanInsert(gapsOfUplink(facts).unpassed, 30); }},
    {"registered-not-member", Severity::Warning, "uplink", "mvrpctl show statistics uplink",
     [](DoctorFacts& facts) { platform::vlanInsert(gapsOfUplink(facts).unmembered, 10); }},
    {"member-not-registered", Severity::Warning, "uplink", "mvrpctl repair uplink",
     [](DoctorFacts& facts) { platform::vlanInsert(gapsOfUplink(facts).unregistered, 10); }},
    {"member-not-claimed", Severity::Note, "uplink", "mvrpctl explain uplink 10",
     [](DoctorFacts& facts) {
         platform::vlanInsert(gapsOfUplink(facts).unregistered, 10);
         facts.daemon.global.host.uptimeMs = 10'599;
     }},
    {"port-refused", Severity::Error, "tap0", "systemctl restart mvrp",
     [](DoctorFacts& facts) {
         wantTap(facts);
         systemOf(facts).config->options["mvrp.maxifnum"] = "1";
     }},
    {"port-not-enabled", Severity::Warning, "tap0", "mvrpctl set port tap0 enable on",
     [](DoctorFacts& facts) { wantTap(facts); }},
    {"standby", Severity::Note, "daemon", "", [](DoctorFacts& facts) { pairOf(facts, kStandby); }},
    {"standby-alone", Severity::Warning, "daemon", "standby take-over",
     [](DoctorFacts& facts) { pairOf(facts, kStandby).otherThere = 0; }},
    {"two-actives", Severity::Error, "daemon", "",
     [](DoctorFacts& facts) { pairOf(facts, kActive).otherRole = kActive; }},
    {"leave-time-short", Severity::Warning, "uplink", "mvrpctl set port uplink join-time 300",
     [](DoctorFacts& facts) { uplinkOf(facts).settings->joinTime = 301; }},
    {"leave-all-time-short", Severity::Warning, "uplink",
     "mvrpctl set port uplink leave-all-time 20000",
     [](DoctorFacts& facts) { uplinkOf(facts).settings->leaveTime = 20000; }},
    {"no-port-enabled", Severity::Warning, "daemon", "mvrpctl set port PORT enable on",
     [](DoctorFacts& facts) {
         uplinkOf(facts).settings.reset();
         uplinkOf(facts).port.protocols = 0;
         systemOf(facts).guards[0].present = false;
     }},
    {"bridge-missing", Severity::Error, "br0", "ip link add name br0 type bridge vlan_filtering 1",
     [](DoctorFacts& facts) {
         systemOf(facts).links.clear();
         facts.daemon.ports[0].dynamic = {};
     }},
    {"bridge-not-vlan-aware", Severity::Error, "br0",
     "ip link set dev br0 type bridge vlan_filtering 1",
     [](DoctorFacts& facts) { systemOf(facts).links[0].vlanFiltering = false; }},
    {"bridge-multiple-trees", Severity::Error, "br0",
     "ip link set dev br0 type bridge mst_enabled 0",
     [](DoctorFacts& facts) { systemOf(facts).links[0].multipleTrees = true; }},
    {"bridge-down", Severity::Error, "br0", "ip link set dev br0 up",
     [](DoctorFacts& facts) { systemOf(facts).links[0].adminUp = false; }},
    {"kernel-silent", Severity::Warning, "br0", "",
     [](DoctorFacts& facts) { systemOf(facts).kernelProblem = "not supported"; }},
    {"port-missing", Severity::Warning, "eth9", "ip -br link",
     [](DoctorFacts& facts) { addRule(facts, "eth9"); }},
    {"port-not-in-bridge", Severity::Warning, "eth1", "ip link set dev eth1 master br0",
     [](DoctorFacts& facts) {
         addRule(facts, "eth1");
         systemOf(facts).links.push_back(link(11, "eth1", 0));
     }},
    {"port-down", Severity::Warning, "uplink", "ip link set dev uplink up",
     [](DoctorFacts& facts) { uplinkLink(facts).adminUp = false; }},
    {"port-no-carrier", Severity::Warning, "uplink", "",
     [](DoctorFacts& facts) { uplinkLink(facts).carrier = false; }},
    {"port-blocking", Severity::Note, "uplink", "bridge -d link show dev uplink",
     [](DoctorFacts& facts) { uplinkLink(facts).stpState = platform::StpState::Blocking; }},
    {"port-not-forwarding", Severity::Note, "uplink", "bridge -d link show dev uplink",
     [](DoctorFacts& facts) { uplinkLink(facts).stpState = platform::StpState::Learning; }},
    {"mtu-small", Severity::Warning, "uplink", "ip link set dev uplink mtu 1500",
     [](DoctorFacts& facts) { uplinkLink(facts).mtu = 1400; }},
    {"guard-missing", Severity::Error, "uplink", "mvrpctl repair uplink",
     [](DoctorFacts& facts) { systemOf(facts).guards[0].present = false; }},
    {"guard-missing", Severity::Warning, "tap0", "systemctl restart mvrp",
     [](DoctorFacts& facts) {
         systemOf(facts).config->network.linuxBridge.guard = platform::GuardedPorts::All;
     }},
    {"guard-left", Severity::Warning, "tap0", "tc filter del dev tap0 ingress pref 33",
     [](DoctorFacts& facts) { systemOf(facts).guards[1].present = true; }},
    {"guard-strange", Severity::Warning, "tap0", "tc filter del dev tap0 ingress pref 34",
     [](DoctorFacts& facts) { systemOf(facts).guards[1].strange = 34; }},
    {"guard-disputed", Severity::Warning, "uplink", "tc monitor",
     [](DoctorFacts& facts) { facts.daemon.ports[0].port.guardDisputed = 1; }},
    {"vlans-missing", Severity::Error, "uplink", "bridge monitor vlan",
     [](DoctorFacts& facts) { systemOf(facts).vlans.clear(); }},
    {"ledger-differs", Severity::Warning, "uplink", "bridge monitor vlan",
     [](DoctorFacts& facts) {
         platform::LedgerRecord record{kUplink, "uplink", {}};
         platform::vlanInsert(record.added, 10);
         platform::vlanInsert(record.added, 11);
         systemOf(facts).ledger = {record};
     }},
    {"other-form", Severity::Error, "uplink", "mvrpctl switch port wire-form uplink auto",
     [](DoctorFacts& facts) {
         uplinkOf(facts).port.wireForm = static_cast<u32>(platform::WireForm::Native);
     }},
    {"gvrp-heard", Severity::Error, "uplink", "mvrpctl set global compliance on",
     [](DoctorFacts& facts) {
         facts.daemon.statistics[kUplink].pdusIn = {0, 0, 3};
     }},
    {"mvrp-heard", Severity::Error, "uplink", "mvrpctl set global compliance off",
     [](DoctorFacts& facts) { facts.daemon.global.compliance = true; }},
    {"nothing-heard", Severity::Warning, "uplink", "tcpdump",
     [](DoctorFacts& facts) {
         uplinkOf(facts).counters.framesIn = 0;
         facts.daemon.statistics[kUplink].pdusIn = {};
     }},
    {"malformed", Severity::Warning, "uplink", "mvrpctl show counters",
     [](DoctorFacts& facts) { uplinkOf(facts).counters.droppedMalformed = 2; }},
    {"overflow", Severity::Warning, "uplink", "mvrpctl show counters",
     [](DoctorFacts& facts) { uplinkOf(facts).counters.droppedOverflow = 2; }},
    {"send-failed", Severity::Warning, "uplink", "mvrpctl show counters",
     [](DoctorFacts& facts) { uplinkOf(facts).counters.sendFailed = 2; }},
    {"loop", Severity::Error, "uplink", "mvrpctl show port uplink",
     [](DoctorFacts& facts) { uplinkOf(facts).port.loopWith = 7; }},
    {"nothing-registered", Severity::Note, "uplink", "mvrpctl show port uplink",
     [](DoctorFacts& facts) { uplinkOf(facts).registered = {}; }},
    {"kernel-declares", Severity::Error, "uplink", "ip link set dev v10 type vlan mvrp off",
     [](DoctorFacts& facts) {
         systemOf(facts).vlanDevices = {{20, "v10", kUplink, 10, true, false}};
     }},
    {"kernel-declares", Severity::Error, "br0", "ip link set dev v10 type vlan gvrp off",
     [](DoctorFacts& facts) {
         systemOf(facts).vlanDevices = {{20, "v10", kBridge, 10, false, true}};
     }},
    {"other-listener", Severity::Warning, "uplink", "ss -0 -p",
     [](DoctorFacts& facts) {
         systemOf(facts).listeners = {{kUplink, 0x88F5, 1, 77, "otherd"}};
     }},
    {"two-daemons", Severity::Error, "br0", "pgrep -a mvrp",
     [](DoctorFacts& facts) {
         systemOf(facts).listeners = {{kUplink, 3, 1, 77, "mvrp"}, {kUplink, 3, 2, 78, "mvrp"}};
     }},
    {"network-manager", Severity::Note, "br0", "ifquery --check -a",
     [](DoctorFacts& facts) {
         systemOf(facts).managers = {{"ifupdown2", "/usr/share"}};
     }},
    {"bridge-firewall", Severity::Note, "br0", "sysctl net.bridge.bridge-nf-call-iptables=0",
     [](DoctorFacts& facts) { systemOf(facts).bridgeFirewall = true; }},
};
// NOLINTEND(cert-err58-cpp)

INSTANTIATE_TEST_SUITE_P(All, DoctorFinds, testing::ValuesIn(kCases));

std::vector<std::string> idsOf(const std::vector<Finding>& findings) {
    std::vector<std::string> ids(findings.size());
    std::ranges::transform(findings, ids.begin(), &Finding::id);
    return ids;
}

TEST(Doctor, LooksAtTheSystemWithoutADaemon) {
    DoctorFacts facts = healthy();
    facts.daemon = DaemonFacts{};
    facts.daemon.problem = "nobody listens";
    facts.system.links[0].vlanFiltering = false;
    facts.system.ledgerThere = true;
    const auto ids = idsOf(examine(facts));
    // Of the guard that no daemon stands behind, too; the worst comes first.
    EXPECT_EQ(ids, (std::vector<std::string>{"daemon-not-running", "bridge-not-vlan-aware",
                                             "guard-left", "ledger-left"}));
}

TEST(Doctor, NamesTheVlansThatTheLedgerHasAndTheBridgeHasNot) {
    DoctorFacts facts = healthy();
    facts.system.ledger = {{kUplink, "uplink", platform::vlanRange(10, 13)},
                           {kTap + 1, "gone", platform::vlanRange(10, 13)}};
    const std::vector<Finding> findings = examine(facts);
    ASSERT_EQ(idsOf(findings), std::vector<std::string>{"ledger-differs"});
    EXPECT_NE(findings[0].seen.find(": 11-13;"), std::string::npos) << findings[0].seen;
    // What the daemon says is learnt is missed with the port, not twice.
    facts.daemon.ports[0].dynamic = platform::vlanRange(10, 13);
    EXPECT_EQ(idsOf(examine(facts)), std::vector<std::string>{"vlans-missing"});
}

TEST(Doctor, DoesNotTrustALedgerOfAnotherBridge) {
    DoctorFacts facts = healthy();
    facts.daemon = DaemonFacts{};
    facts.system.guards.clear();
    facts.system.ledgerThere = facts.system.ledgerForeign = true;
    EXPECT_EQ(idsOf(examine(facts)),
              (std::vector<std::string>{"daemon-not-running", "ledger-foreign"}));
}

TEST(Doctor, DoesNotCallAGuardLeftOverWhereItMayNotAskTheDaemon) {
    DoctorFacts facts = healthy();
    facts.daemon = DaemonFacts{};
    facts.daemon.state = DaemonState::NotPermitted;
    EXPECT_EQ(idsOf(examine(facts)), std::vector<std::string>{"daemon-not-permitted"});
}

TEST(Doctor, NamesAMissingFileOnlyWhereNothingRuns) {
    DoctorFacts facts;
    EXPECT_EQ(idsOf(examine(facts)),
              (std::vector<std::string>{"daemon-not-running", "config-missing"}));
}

TEST(Doctor, LeavesTheKernelAsideOnASoftwareSwitch) {
    DoctorFacts facts = healthy();
    facts.daemon.global.host.driver = static_cast<u32>(platform::DriverKind::SoftwareSwitch);
    facts.system.links.clear();
    facts.system.bridgeFirewall = true;
    EXPECT_TRUE(examine(facts).empty());
}

TEST(Doctor, AllowsListenersOnOtherInterfacesAndCapturesOnItsOwn) {
    DoctorFacts facts = healthy();
    facts.system.links.push_back(link(30, "eth5", 0));
    facts.system.listeners = {
        {30, 0x88F5, 1, 77, "otherd"}, {kUplink, 3, 2, 78, "tcpdump"}, {kUplink, 3, 3, 79, "mvrp"}};
    EXPECT_TRUE(examine(facts).empty());
}

TEST(Doctor, PrintsTheSameInJson) {
    const Finding finding{
        Severity::Error, "bridge-down", "br0", "the bridge is down", {"ip link set dev br0 up"}};
    const auto json = nlohmann::json::parse(findingsJson({finding}));
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["findings"][0]["severity"], "error");
    EXPECT_EQ(json["findings"][0]["id"], "bridge-down");
    EXPECT_EQ(json["findings"][0]["commands"][0], "ip link set dev br0 up");
    EXPECT_TRUE(nlohmann::json::parse(findingsJson({}))["findings"].is_array());
    EXPECT_EQ(findingsText({finding}, {}),
              "error: br0: the bridge is down\n    ip link set dev br0 up\n");
}

TEST(Doctor, NamesACorrectionThatIsOffAndWouldHaveActed) {
    DoctorFacts facts = healthy();
    facts.daemon.global.corrections.emplace();
    facts.daemon.global.corrections->on = 0;
    const auto off = [&facts] {
        std::vector<std::string> seen;
        for (const Finding& finding : examine(facts))
            if (finding.id == "correction-off")
                seen.push_back(finding.seen);
        return seen;
    };
    EXPECT_TRUE(off().empty());
    platform::vlanInsert(gapsOfUplink(facts).undeclared, 30);
    ASSERT_EQ(off().size(), 1U);
    EXPECT_NE(off().front().find("static-kept is off, and would have acted for 30"),
              std::string::npos);
    platform::vlanInsert(gapsOfUplink(facts).unregistered, 10);
    EXPECT_EQ(off().size(), 3U);
    platform::vlanInsert(gapsOfUplink(facts).unmembered, 11);
    EXPECT_EQ(off().size(), 3U);
    facts.daemon.global.pendingPairs = 1;
    EXPECT_EQ(off().size(), 4U);
    platform::vlanErase(uplinkOf(facts).permitted, 11);
    ASSERT_EQ(off().size(), 4U);
    EXPECT_NE(off()[1].find("admission is off, and would have acted for 11"), std::string::npos);
    platform::vlanInsert(gapsOfUplink(facts).unpassed, 40);
    ASSERT_EQ(off().size(), 6U);
    EXPECT_NE(off()[1].find("leave-needed is off, and would have acted for 40"), std::string::npos);
    EXPECT_NE(off()[2].find("on-declares is off, and would have acted for 40"), std::string::npos);
    facts.daemon.global.compliance = true;
    platform::vlanInsert(gapsOfUplink(facts).unrenewed, 31);
    EXPECT_NE(off()[0].find("gvrp-static-renewed is off, and would have acted for 30-31"),
              std::string::npos);
    facts.daemon.global.corrections->on = CorrectionSet::all().bits();
    EXPECT_TRUE(off().empty());
    facts.daemon.global.corrections.reset();
    EXPECT_TRUE(off().empty());
}

TEST(Doctor, SaysWhyARegisteredVlanIsNoMember) {
    DoctorFacts facts = healthy();
    const auto seen = [&facts] { return examine(facts).front().seen; };
    gapsOfUplink(facts).unmembered = platform::vlanRange(10, 11);
    gapsOfUplink(facts).registeredMs = 3000;
    EXPECT_EQ(
        seen(),
        "registered, and not on the port: 10-11; declared 3.0 s ago; the switch refused them");
    facts.daemon.global.pendingPairs = 2;
    EXPECT_NE(seen().find("; 2 changes wait to be applied"), std::string::npos);
    platform::vlanErase(uplinkOf(facts).permitted, 11);
    EXPECT_NE(seen().find("applied, and the port's permit list leaves out 11"), std::string::npos);
    platform::vlanErase(uplinkOf(facts).permitted, 10);
    EXPECT_NE(seen().find("ago; the port's permit list leaves them out"), std::string::npos);
}

TEST(Doctor, SaysSinceWhenAMemberIsNotRegisteredAndWhetherItGoes) {
    DoctorFacts facts = healthy();
    platform::vlanInsert(gapsOfUplink(facts).unregistered, 10);
    gapsOfUplink(facts).withdrawnMs = 300'000;
    const auto seen = [&facts] { return examine(facts).front().seen; };
    EXPECT_EQ(seen(),
              "on the port, and registered by nobody: 10; withdrawn 5 min ago; they do not go by "
              "themselves");
    facts.daemon.global.pendingPairs = 2;
    EXPECT_NE(seen().find("5 min ago; 2 changes wait to be applied"), std::string::npos);
}

TEST(Gaps, AreWhatDoesNotGoTogether) {
    VlansView all;
    all.ports = {port(kUplink, "uplink")};
    PortView& view = all.ports[0];
    const platform::VlanBitmap none{};
    const auto gaps = [&all] { return gapsOf(all).at(kUplink); };
    EXPECT_EQ(gaps().undeclared, none);
    EXPECT_EQ(gaps().unmembered, none);
    EXPECT_EQ(gaps().unregistered, none);
    all.staticVlans = platform::vlanRange(30, 30);
    EXPECT_EQ(gaps().undeclared, all.staticVlans);
    view.settings->participant = 3;
    EXPECT_EQ(gaps().undeclared, none);
    view.dynamic = {};
    EXPECT_EQ(gaps().unmembered, view.registered);
    std::swap(view.dynamic, view.registered);
    EXPECT_EQ(gaps().unregistered, view.dynamic);
    view.port.link = 0;
    EXPECT_EQ(gaps().unregistered, none);
}

TEST(Gaps, WhatAnotherPortRegisteredIsDeclared) {
    VlansView all;
    all.ports = {port(kUplink, "uplink"), port(kTap, "tap0")};
    PortView& tap = all.ports[1];
    const platform::VlanBitmap none{};
    const platform::VlanBitmap ten = platform::vlanRange(10, 10);
    const auto unpassed = [&all](u32 unit) { return gapsOf(all).at(unit).unpassed; };
    EXPECT_EQ(unpassed(kTap), ten) << "registered on both: each declares it for the other";
    EXPECT_EQ(unpassed(kUplink), ten);
    tap.registered = {};
    EXPECT_EQ(unpassed(kTap), ten);
    EXPECT_EQ(unpassed(kUplink), none) << "its own registration is not declared back";
    tap.declared = ten;
    EXPECT_EQ(unpassed(kTap), none);
    tap.declared = {};
    tap.settings->registration = 2;
    EXPECT_EQ(unpassed(kTap), none) << "nothing is passed on to a fixed port";
    tap.settings->registration = 1;
    platform::vlanErase(tap.permitted, 10);
    EXPECT_EQ(unpassed(kTap), none);
    tap.permitted = ten;
    all.staticVlans = ten;
    EXPECT_EQ(unpassed(kTap), none) << "static: not declared for that";
    EXPECT_EQ(gapsOf(all).at(kTap).undeclared, ten);
    all.staticVlans = {};
    all.ports[0].settings.reset();
    EXPECT_EQ(unpassed(kTap), none) << "MVRP is off there";
}

TEST(Doctor, TellsOfTwoActivesForAnHour) {
    DoctorFacts facts = healthy();
    platform::StandbyInfoRecord& pair = pairOf(facts, kActive);
    pair.twoActives = static_cast<u32>(platform::TwoActives::WentOn);
    pair.twoActivesAgoMs = 3'600'000;
    const std::vector<Finding> findings = examine(facts);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].id, "two-actives");
    EXPECT_EQ(findings[0].severity, Severity::Warning);
    EXPECT_NE(findings[0].seen.find("the other one stood back"), std::string::npos);
    pair.twoActivesAgoMs++;
    EXPECT_TRUE(examine(facts).empty());
}

}  // namespace
}  // namespace cli
