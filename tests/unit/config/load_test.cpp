// SPDX-License-Identifier: MIT
//
// Right configuration files and the records that they become.
#include "platform/config/load.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

HostConfig load(std::string_view document) {
    const LoadedConfig loaded = parseConfig(document);
    for (const ConfigProblem& problem : loaded.problems)
        ADD_FAILURE() << formatProblem("test", problem);
    return loaded.config.value_or(HostConfig{});
}

TEST(Config, NothingIsEnough) {
    const HostConfig config = load("");
    EXPECT_TRUE(config.options.empty());
    EXPECT_TRUE(config.network.ports.empty());
    EXPECT_FALSE(config.network.name.empty());
    EXPECT_TRUE(vlanContains(config.network.staticVlans, 1));
    EXPECT_FALSE(config.management.enable);
    EXPECT_TRUE(config.storeFile.empty());
    EXPECT_FALSE(config.standby.configured);
}

TEST(Config, StartUpOptionsBecomeTheTextsThatTheDaemonReads) {
    const HostConfig config = load(R"(
        [mvrp]
        enable = true
        maxifnum = 24
        maxvlannumperif = 100
        vlannumpertimes = 0
        vlannumpertimesagg = 7)");
    const std::map<std::string, std::string> expected = {{"mvrp.enable", "true"},
                                                         {"mvrp.maxifnum", "24"},
                                                         {"mvrp.maxvlannumperif", "100"},
                                                         {"mvrp.vlannumpertimes", "0"},
                                                         {"mvrp.vlannumpertimesagg", "7"}};
    EXPECT_EQ(config.options, expected);
    EXPECT_EQ(load("mvrp.enable = false").options.at("mvrp.enable"), "false");
}

TEST(Config, CorrectionsAreThoseOfTheDriverUnlessTheFileNamesThem) {
    constexpr const char* kLinux = "switch = {driver=\"linux\", bridge=\"br0\"}\n";
    EXPECT_EQ(load("").corrections, CorrectionSet{});
    EXPECT_EQ(load(kLinux).corrections, CorrectionSet::all());
    EXPECT_EQ(load(std::string(kLinux) + "[mvrp]\ncorrections = \"none\"").corrections,
              CorrectionSet{});
    EXPECT_EQ(load("[mvrp]\ncorrections = \"all\"").corrections, CorrectionSet::all());
    EXPECT_EQ(load("[mvrp]\ncorrections = []").corrections, CorrectionSet{});
    const CorrectionSet two =
        load("[mvrp]\ncorrections = [\"admission\", \"leave-needed\"]").corrections;
    EXPECT_EQ(two.count(), 2U);
    EXPECT_TRUE(two.has(Correction::Admission));
    EXPECT_TRUE(two.has(Correction::LeaveNeeded));
    EXPECT_TRUE(load("[mvrp]\ncorrections = \"all\"").options.empty()) << "no start-up option";
}

TEST(Config, TheProcessChangesNothingUnlessItIsToldTo) {
    EXPECT_EQ(load("").process, ProcessConfig{});
    const ProcessConfig process = load("[process]\nuser = \"daemon\"\nkeep-net-raw = true").process;
    EXPECT_EQ(process.user, "daemon");
    EXPECT_TRUE(process.keepNetRaw);
}

TEST(Config, MetricsAreServedNowhereUnlessAnAddressIsGiven) {
    EXPECT_EQ(load("").metricsListen, "");
    EXPECT_EQ(load("[metrics]\nlisten = \"\"").metricsListen, "");
    EXPECT_EQ(load("[metrics]\nlisten = \"127.0.0.1:9620\"").metricsListen, "127.0.0.1:9620");
    EXPECT_EQ(load("[metrics]\nlisten = \"[::1]:9620\"").metricsListen, "[::1]:9620");
}

TEST(Config, APortIsATrunkOfAllVlansWithTheFirstUntagged) {
    const HostConfig config = load("[[port]]\nunit = 3");
    const PortConfig& port = config.network.ports.at(0);
    EXPECT_EQ(port.unit, 3U);
    EXPECT_EQ(port.name, "port3");
    EXPECT_EQ(port.pvid, 1U);
    EXPECT_EQ(formatVlanRanges(port.permitTagged), "2-4094");
    EXPECT_EQ(formatVlanRanges(port.permitUntagged), "1");
    EXPECT_EQ(port.mtu, 1500U);
    EXPECT_EQ(port.mac[0], 2);
    EXPECT_EQ(port.mac[5], 3);
    EXPECT_TRUE(port.linkUp);
    EXPECT_TRUE(port.eligible);
    EXPECT_EQ(port.cable.kind, CableKind::None);
    EXPECT_EQ(port.wireForm, WireForm::Native);
}

TEST(Config, EverySettingOfAPortIsTaken) {
    const HostConfig config = load(R"(
        [switch]
        driver = "soft"
        name = "core"
        [[port]]
        unit = 20
        kind = "aggregation"
        [[port]]
        unit = 9
        name = "uplink"
        mac = "02:00:00:00:0a:09"
        mtu = 9000
        pvid = 5
        permit = "1-10,20"
        untagged = "5,6"
        link = "down"
        eligible = false
        cable = "interface:eth0"
        wire-format = "auto"
        aggregation = 20
        record = "/tmp/r.pcap"
        replay = "/tmp/p.pcap")");
    EXPECT_EQ(config.network.name, "core");
    const PortConfig& port = config.network.ports.at(0);  // ascending by unit
    EXPECT_EQ(port.unit, 9U);
    EXPECT_EQ(port.name, "uplink");
    EXPECT_EQ(port.mac, (std::array<u8, 6>{2, 0, 0, 0, 10, 9}));
    EXPECT_EQ(port.mtu, 9000U);
    EXPECT_EQ(port.pvid, 5U);
    EXPECT_EQ(formatVlanRanges(port.permitTagged), "1-4,7-10,20");
    EXPECT_EQ(formatVlanRanges(port.permitUntagged), "5-6");
    EXPECT_FALSE(port.linkUp);
    EXPECT_FALSE(port.eligible);
    EXPECT_EQ(port.cable.interfaceName, "eth0");
    EXPECT_EQ(port.wireForm, WireForm::Auto);
    EXPECT_EQ(port.aggregation, 20U);
    EXPECT_EQ(port.recordFile, "/tmp/r.pcap");
    EXPECT_EQ(port.replayFile, "/tmp/p.pcap");
    EXPECT_TRUE(config.network.ports.at(1).isAggregation);
}

TEST(Config, StaticVlansOfAllTablesAreJoinedAndVlan1IsAlwaysThere) {
    const HostConfig config = load("[[vlan]]\nids = \"10-12\"\n[[vlan]]\nids = 20");
    EXPECT_EQ(formatVlanRanges(config.network.staticVlans), "1,10-12,20");
}

TEST(Config, DefaultAddressesDifferBetweenPortsAndSwitches) {
    const auto macOf = [](const char* name, u32 unit) {
        return load("[switch]\nname = \"" + std::string(name) +
                    "\"\n[[port]]\nunit = " + std::to_string(unit))
            .network.ports.at(0)
            .mac;
    };
    EXPECT_NE(macOf("a", 1), macOf("a", 2));
    EXPECT_NE(macOf("a", 1), macOf("b", 1));
    EXPECT_EQ(macOf("a", 1), macOf("a", 1));
}

TEST(Config, ManagementSettingsBecomeTheNumbersOfTheHandlers) {
    const HostConfig config = load(R"(
        [[port]]
        unit = 1
        [[port]]
        unit = 2
        [[port]]
        unit = 7
        [management]
        enable = true
        compliance = false
        [[management.port]]
        unit = "1-2"
        enable = true
        registration = "fixed"
        participant = "quiet"
        join-time = 200
        leave-time = 450
        leave-all-time = 650
        periodic-time = 0
        [[management.port]]
        unit = 7
        enable = false)");
    EXPECT_EQ(config.management.enable, 1U);
    EXPECT_EQ(config.management.compliance, 2U);
    ASSERT_EQ(config.management.ports.size(), 3U);
    const PortManagement& port = config.management.ports.at(2);
    EXPECT_EQ(config.management.ports.at(1), port);
    EXPECT_EQ(port.enable, 1U);
    EXPECT_EQ(port.registration, 2U);
    EXPECT_EQ(port.participant, 3U);
    EXPECT_EQ(port.joinTime, 200U);
    EXPECT_EQ(port.leaveTime, 450U);
    EXPECT_EQ(port.leaveAllTime, 650U);
    EXPECT_EQ(port.periodicTime, 0U);
    EXPECT_EQ(config.management.ports.at(7).enable, 2U);
    EXPECT_FALSE(config.management.ports.at(7).joinTime);
}

TEST(Config, ServicesAreTaken) {
    const HostConfig config = load(R"(
        [command]
        group = "root"
        [debug]
        socket = true
        [standby]
        role = "standby"
        listen = "/run/s"
        take-over-after = 30
        lost-after = 1500
        heartbeat = 500
        [store]
        file = "/var/lib/mvrp/store")");
    EXPECT_EQ(config.commandGroup, "root");
    EXPECT_TRUE(config.debugSocket);
    EXPECT_TRUE(config.standby.configured);
    EXPECT_EQ(config.standby.role, HostRole::Standby);
    EXPECT_EQ(config.standby.listenPath, "/run/s");
    EXPECT_EQ(config.standby.takeOverAfterS, 30U);
    EXPECT_EQ(config.standby.lostAfterMs, 1500U);
    EXPECT_EQ(config.standby.heartbeatMs, 500U);
    EXPECT_EQ(config.storeFile, "/var/lib/mvrp/store");
    EXPECT_EQ(load("[store]\nfile = \"\"").storeFile, "");
}

TEST(Config, ALinuxBridgeNeedsItsNameOnly) {
    const HostConfig config = load("[switch]\ndriver = \"linux\"\nbridge = \"br0\"");
    EXPECT_EQ(config.network.driver, DriverKind::LinuxBridge);
    const LinuxBridgeConfig& bridge = config.network.linuxBridge;
    EXPECT_EQ(bridge.bridge, "br0");
    EXPECT_EQ(bridge.staticVlans, StaticVlans::Carried);
    EXPECT_EQ(bridge.onStop, OnStop::Remove);
    const LinuxPortRule& rule = bridge.ruleOf("eth0");
    EXPECT_EQ(formatVlanRanges(rule.permit), "1-4094");
    EXPECT_EQ(rule.wireForm, WireForm::Ieee);
    EXPECT_FALSE(rule.management.enable) << "a port is enabled by its configuration only";
    EXPECT_EQ(rule.management.participant, MVRP_PARTICIPANT_NO_OBSERVE)
        << "a link is point to point";
    EXPECT_EQ(rule.management.joinTime, 200U);
    EXPECT_EQ(rule.management.leaveTime, 600U);
    EXPECT_EQ(rule.management.leaveAllTime, 10000U);
    EXPECT_EQ(rule.maxVlans, 0U);
    EXPECT_EQ(rule.maxPdus, 100U);
    EXPECT_EQ(config.otherPorts, rule.management);
    EXPECT_EQ(bridge.guard, GuardedPorts::All);
    EXPECT_EQ(bridge.vlanOne, VlanOne::AsFound);
    EXPECT_FALSE(bridge.lingerMs);
    EXPECT_TRUE(config.network.askWhenForwarding);
    EXPECT_TRUE(config.network.loopGuard);
}

TEST(Config, APortOfALinuxBridgeThatTakesPartSwitchesTheProtocolOn) {
    const HostConfig config = load(R"(
        switch = {driver = "linux", bridge = "br0"}
        [[port]]
        name = "eth*"
        mvrp = true)");
    EXPECT_EQ(config.management.enable, 1U);
    EXPECT_EQ(config.network.linuxBridge.ruleOf("eth0").management.enable, 1U);
    EXPECT_EQ(config.network.linuxBridge.ruleOf("eth0").management.joinTime, 200U);
    EXPECT_FALSE(config.network.linuxBridge.ruleOf("tap0").management.enable);
}

TEST(Config, ALinuxBridgeCanBeAskedForTheOldDefaults) {
    const HostConfig config = load(R"(
        [switch]
        driver = "linux"
        bridge = "br0"
        guard = "taking-part"
        vlan-1 = "always"
        linger = 0
        ask-when-forwarding = false
        loop-guard = false
        [management]
        times = "daemon"
        [[port]]
        name = "eth0"
        wire-format = "auto"
        participant = "full"
        max-vlans = 4094
        max-pdus = 1000000
        leave-time = 12000)");
    const LinuxBridgeConfig& bridge = config.network.linuxBridge;
    EXPECT_EQ(bridge.guard, GuardedPorts::TakingPart);
    EXPECT_EQ(bridge.vlanOne, VlanOne::Always);
    EXPECT_EQ(bridge.lingerMs, 0U);
    EXPECT_FALSE(config.network.askWhenForwarding);
    EXPECT_FALSE(config.network.loopGuard);
    const LinuxPortRule& rule = bridge.ruleOf("eth0");
    EXPECT_EQ(rule.wireForm, WireForm::Auto);
    EXPECT_EQ(rule.maxVlans, 4094U);
    EXPECT_EQ(rule.maxPdus, 1'000'000U);
    EXPECT_EQ(rule.management.participant, 1U);
    EXPECT_FALSE(rule.management.joinTime);
    EXPECT_EQ(rule.management.leaveTime, 12000U);
    EXPECT_FALSE(bridge.ruleOf("eth1").management.leaveAllTime);
    EXPECT_EQ(load("switch = {driver=\"linux\", bridge=\"br0\", linger=\"default\"}")
                  .network.linuxBridge.lingerMs,
              std::nullopt);
}

TEST(Config, APortSaysOtherwiseTimeByTime) {
    const HostConfig config = load(R"(
        switch = {driver = "linux", bridge = "br0"}
        [[port]]
        name = "eth0"
        leave-time = 5000)");
    const PortManagement& port = config.network.linuxBridge.ruleOf("eth0").management;
    EXPECT_EQ(port.joinTime, 200U);
    EXPECT_EQ(port.leaveTime, 5000U);
    EXPECT_EQ(port.leaveAllTime, 10000U);
}

TEST(Config, TheSoftwareSwitchHasTheDaemonsTimesUnlessAskedForOthers) {
    constexpr const char* kPorts =
        "[mvrp]\ncorrections = [\"admission\"]\n"
        "[[port]]\nunit = 1\nmax-vlans = 7\nmax-pdus = 9\n[[port]]\nunit = 2\n";
    constexpr const char* kManaged =
        "enable = true\n[[management.port]]\nunit = 1\nenable = true\n";
    const HostConfig plain = load(std::string(kPorts) + "[management]\n" + kManaged);
    EXPECT_EQ(plain.otherPorts, PortManagement{});
    EXPECT_FALSE(plain.management.ports.at(1).joinTime);
    EXPECT_FALSE(plain.network.askWhenForwarding);
    EXPECT_FALSE(plain.network.loopGuard);
    EXPECT_EQ(plain.network.ports[0].maxVlans, 7U);
    EXPECT_EQ(plain.network.ports[0].maxPdus, 9U);
    EXPECT_EQ(plain.network.ports[1].maxVlans, 0U);
    EXPECT_EQ(plain.network.ports[1].maxPdus, 0U);
    const HostConfig asked = load("[switch]\nask-when-forwarding = true\n" + std::string(kPorts) +
                                  "[management]\ntimes = \"standard\"\n" + kManaged);
    EXPECT_EQ(asked.management.ports.at(1).joinTime, 200U);
    EXPECT_EQ(asked.otherPorts.leaveAllTime, 10000U);
    EXPECT_FALSE(asked.otherPorts.participant) << "its cables may be shared";
    EXPECT_TRUE(asked.network.askWhenForwarding);
}

TEST(Config, TheFirstPatternThatMatchesAPortOfALinuxBridgeCounts) {
    const HostConfig config = load(R"(
        [switch]
        driver = "linux"
        bridge = "br0"
        static = "as-configured"
        on-stop = "keep"
        [management]
        enable = true
        [[port]]
        name = "tap7"
        permit = "10-20"
        wire-format = "native"
        record = "/tmp/r.pcap"
        [[port]]
        name = "tap*"
        mvrp = true
        registration = "forbidden"
        participant = "no-observe"
        join-time = 200
        leave-time = 600
        leave-all-time = 10000
        periodic-time = 0)");
    const LinuxBridgeConfig& bridge = config.network.linuxBridge;
    EXPECT_EQ(bridge.staticVlans, StaticVlans::AsConfigured);
    EXPECT_EQ(bridge.onStop, OnStop::Keep);
    EXPECT_EQ(formatVlanRanges(bridge.ruleOf("tap7").permit), "10-20");
    EXPECT_EQ(bridge.ruleOf("tap7").wireForm, WireForm::Native);
    EXPECT_EQ(bridge.ruleOf("tap7").recordFile, "/tmp/r.pcap");
    EXPECT_FALSE(bridge.ruleOf("tap7").management.enable);
    const PortManagement& tap = bridge.ruleOf("tap8").management;
    EXPECT_EQ(tap.enable, 1U);
    EXPECT_EQ(tap.registration, 3U);
    EXPECT_EQ(tap.participant, 2U);
    EXPECT_EQ(tap.joinTime, 200U);
    EXPECT_EQ(tap.leaveTime, 600U);
    EXPECT_EQ(tap.leaveAllTime, 10000U);
    EXPECT_EQ(tap.periodicTime, 0U);
    EXPECT_FALSE(bridge.ruleOf("eth0").management.enable);
}

TEST(Config, TheSameTextBecomesTheSameRecord) {
    constexpr const char* kDocument = "[switch]\nname = \"a\"\n[[port]]\nunit = 1";
    EXPECT_EQ(load(kDocument), load(kDocument));
    EXPECT_NE(load(kDocument), load("[switch]\nname = \"a\"\n[[port]]\nunit = 2"));
}

}  // namespace
}  // namespace platform
