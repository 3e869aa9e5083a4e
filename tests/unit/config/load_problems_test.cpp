// SPDX-License-Identifier: MIT
//
// Wrong configuration files: refused as a whole, with the place, what was found, what is allowed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "platform/config/load.h"

namespace platform {
namespace {

struct WrongFile {
    const char* name;
    const char* document;
    u32 line;
    u32 column;
    const char* found;    ///< part of the text
    const char* allowed;  ///< part of the text
};

constexpr const char* kVlans = "VLAN IDs 1 to 4094 as ranges";

const WrongFile kWrongFiles[] = {
    {"Syntax", "[switch\nname = 1", 1, 8, "", ""},
    {"BracketAtTheEndOfALine", "[switch]\n\n[\nname = 1\n", 3, 1, "not TOML", "key = value"},
    {"SectionTwice", "[debug]\n[debug]\n", 2, 1, "", ""},
    {"UnknownSection", "[swtich]\n", 1, 2, "\"swtich\"", "did you mean switch?"},
    {"UnknownKey", "[[port]]\nunit = 1\nlinc = \"up\"", 3, 1, "\"linc\"", "did you mean link?"},
    {"UnlikeAnyKey", "[debug]\nxyzzyplugh = 1", 2, 1, "\"xyzzyplugh\"", "Known: socket"},
    {"SectionNoTable", "switch = 5", 1, 10, "5", "a table [switch]"},
    {"PortNoArray", "[port]\nunit = 1", 1, 1, "a table", "tables [[port]]"},
    {"PortOfNumbers", "port = [1]", 1, 9, "1", "tables [[port]]"},
    {"NoUnit", "[[port]]\nname = \"x\"", 1, 1, "no unit", "a number from 1 to"},
    {"UnitZero", "[[port]]\nunit = 0", 2, 8, "is 0", "1 to 16777215"},
    {"UnitOfAVlanInterface", "[[port]]\nunit = 0x01000001", 2, 8, "16777217", "1 to 16777215"},
    {"UnitText", "[[port]]\nunit = \"1\"", 2, 8, "\"1\"", "a number"},
    {"UnitTwice", "[[port]]\nunit = 1\n[[port]]\nunit = 1", 4, 8, "unit 1",
     "one [[port]] for each"},
    {"NameTwice", "[[port]]\nunit = 1\nname = \"a\"\n[[port]]\nunit = 2\nname = \"a\"", 6, 8,
     "\"a\"", "a name for each port"},
    {"NameEmpty", "[[port]]\nunit = 1\nname = \"\"", 3, 8, "\"\"", "1 to 63 bytes"},
    {"NameNumber", "[[port]]\nunit = 1\nname = \"2\"", 3, 8, "\"2\"", "not a number"},
    {"NameControl", "[[port]]\nunit = 1\nname = \"a\\u0007\"", 3, 8, "name", "without control"},
    {"Driver", "[switch]\ndriver = \"asic\"", 2, 10, "\"asic\"", "\"soft\""},
    {"Mac", "[[port]]\nunit = 1\nmac = \"02:00\"", 3, 7, "\"02:00\"", "a unicast MAC address"},
    {"MacGroup", "[[port]]\nunit = 1\nmac = \"01:80:c2:00:00:21\"", 3, 7, "01:80", "unicast"},
    {"MacDigits", "[[port]]\nunit = 1\nmac = \"02:00:00:00:00:0g\"", 3, 7, "0g", "unicast"},
    {"Mtu", "[[port]]\nunit = 1\nmtu = 63", 3, 7, "63", "64 to 9216 bytes"},
    {"MtuFraction", "[[port]]\nunit = 1\nmtu = 1500.5", 3, 7, "1500.5", "64 to 9216 bytes"},
    {"Pvid", "[[port]]\nunit = 1\npvid = 4095", 3, 8, "4095", "1 to 4094"},
    {"Permit", "[[port]]\nunit = 1\npermit = \"1-4095\"", 3, 10, "\"1-4095\"", kVlans},
    {"PermitList", "[[port]]\nunit = 1\npermit = [1, 2]", 3, 10, "an array", kVlans},
    {"Link", "[[port]]\nunit = 1\nlink = true", 3, 8, "true", "\"up\", \"down\""},
    {"Cable", "[[port]]\nunit = 1\ncable = \"usb:1\"", 3, 9, "usb:1", "interface:NAME"},
    {"CableShared",
     "[[port]]\nunit = 1\ncable = \"unix:/a,/b\"\n[[port]]\nunit = 2\ncable = \"unix:/a,/c\"", 6, 9,
     "unit 1", "a local path for each port"},
    {"WireFormat", "[[port]]\nunit = 1\nwire-format = \"dix\"", 3, 15, "\"dix\"", "\"auto\""},
    {"Aggregation", "[[port]]\nunit = 1\naggregation = 2", 3, 15, "2", "kind = \"aggregation\""},
    {"AggregationOfAPort", "[[port]]\nunit = 1\naggregation = 2\n[[port]]\nunit = 2", 3, 15, "2",
     "kind = \"aggregation\""},
    {"LinuxWithoutBridge", "[switch]\ndriver = \"linux\"", 1, 1, "no bridge", "VLAN-aware bridge"},
    {"LinuxBridgeName", "[switch]\ndriver = \"linux\"\nbridge = \"a-name-too-long-\"", 3, 10,
     "a-name-too-long-", "1 to 15 bytes"},
    {"LinuxStatic", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\nstatic = \"all\"", 4, 10,
     "\"all\"", "\"carried\", \"as-configured\""},
    {"LinuxOnStop", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\non-stop = true", 4, 11, "true",
     "\"remove\", \"keep\""},
    {"LinuxPortNoName", "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\npermit = 5", 2, 1,
     "no name", "\"tap*\""},
    {"LinuxPortUnit", "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\nunit = 1",
     4, 8, "unit belongs to driver = \"soft\"", "allowed: name, permit"},
    {"LinuxWireFormat",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\nwire-format = \"dix\"", 4,
     15, "\"dix\"", "\"ieee\""},
    {"LinuxParticipant",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\nparticipant = \"none\"", 4,
     15, "\"none\"", "\"full\", \"no-observe\", \"quiet\""},
    {"LinuxPermit",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\npermit = \"0\"", 4, 10,
     "\"0\"", kVlans},
    {"LinuxTimes", "switch = {driver=\"linux\", bridge=\"br0\"}\n[management]\ntimes = \"slow\"", 3,
     9, "\"slow\"", "\"standard\", \"daemon\""},
    {"LinuxAskWhenForwarding",
     "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\nask-when-forwarding = \"yes\"", 4, 23,
     "\"yes\"", "true or false"},
    {"LinuxPortTwice",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\n[[port]]\nname=\"a\"", 5,
     6, "\"a\" is there twice", "one [[port]] for each name"},
    {"LinuxPortRecord",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a*\"\nrecord=\"/x\"", 4, 8,
     "\"a*\"", "without *"},
    {"LinuxPortTimes",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\njoin-time = "
     "300\nleave-time = 500",
     5, 14, "[[port]] leave-time is 500", "twice the join-time"},
    {"LinuxPortNotEnabled",
     "switch = {driver=\"linux\", bridge=\"br0\"}\nmanagement = "
     "{enable=false}\n[[port]]\nname=\"a\"\n"
     "mvrp = true",
     5, 8, "enable = false in [management]", "enable = true there, or without it"},
    {"LinuxGuard", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\nguard = true", 4, 9, "true",
     "\"all-ports\", \"taking-part\""},
    {"LinuxVlanOne", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\nvlan-1 = 1", 4, 10, "1",
     "\"as-found\", \"always\""},
    {"LinuxLinger", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\nlinger = 60001", 4, 10,
     "60001",
     "\"default\" (the leave time of the port, at least a second and two join times), or 0 to "
     "60000 ms"},
    {"LinuxLingerText", "[switch]\ndriver = \"linux\"\nbridge = \"br0\"\nlinger = \"long\"", 4, 10,
     "\"long\"", "0 to 60000 ms"},
    {"LinuxJoinTimeForTheStandardLeaveTime",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\njoin-time = 400", 4, 13,
     "leave-time is 600 with a join-time of 400", "twice the join-time"},
    {"Times", "[management]\ntimes = \"fast\"", 2, 9, "\"fast\"", "\"standard\", \"daemon\""},
    {"AskWhenForwarding", "[switch]\nask-when-forwarding = 1", 2, 23, "1", "true or false"},
    {"LoopGuard", "[switch]\nloop-guard = \"on\"", 2, 14, "\"on\"", "true or false"},
    {"MaxVlansWithoutAdmission", "[[port]]\nunit = 1\nmax-vlans = 10", 3, 13,
     "max-vlans without the correction admission", "corrections with \"admission\" in [mvrp]"},
    {"MaxVlans", "mvrp = {corrections = \"all\"}\n[[port]]\nunit = 1\nmax-vlans = 4095", 4, 13,
     "4095", "1 to 4094 VLANs"},
    {"MaxVlansZero", "mvrp = {corrections = [\"admission\"]}\n[[port]]\nunit = 1\nmax-vlans = 0", 4,
     13, "is 0", "1 to 4094 VLANs"},
    {"MaxPdus", "[[port]]\nunit = 1\nmax-pdus = 0", 3, 12, "is 0", "1 to 1000000 PDUs a second"},
    {"LinuxMaxVlans",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\nmax-vlans = 5000", 4, 13,
     "5000", "1 to 4094 VLANs"},
    {"LinuxMaxPdus",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[[port]]\nname=\"a\"\nmax-pdus = 1000001", 4, 12,
     "1000001", "1 to 1000000 PDUs a second"},
    {"LinuxVlan", "switch = {driver=\"linux\", bridge=\"br0\"}\n[[vlan]]\nids = 5", 2, 1,
     "[[vlan]] belongs to driver = \"soft\"", "`bridge vlan`"},
    {"LinuxStandby",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[standby]\nrole = \"standby\"\nlisten=\"/x\"", 2,
     1, "[standby] belongs to driver = \"soft\"", "one daemon"},
    {"LinuxManagedUnit",
     "switch = {driver=\"linux\", bridge=\"br0\"}\n[management]\nenable = "
     "true\n[[management.port]]\nunit = 1",
     4, 1, "port names ports by unit", "mvrp, registration"},
    {"SoftBridge", "[switch]\nbridge = \"br0\"", 2, 10, "bridge belongs to driver = \"linux\"",
     "allowed: driver, name"},
    {"SoftPortMvrp", "[[port]]\nunit = 1\nmvrp = true", 3, 8, "mvrp belongs to driver = \"linux\"",
     "[[management.port]]"},
    {"VlanIdsMissing", "[[vlan]]", 1, 1, "no ids", kVlans},
    {"VlanIds", "[[vlan]]\nids = 4095", 2, 7, "4095", kVlans},
    {"OptionEnable", "[mvrp]\nenable = \"no\"", 2, 10, "\"no\"", "true or false"},
    {"OptionRange", "[mvrp]\nvlannumpertimes = 65536", 2, 19, "65536", "0 to 65535"},
    {"Corrections", "[mvrp]\ncorrections = \"some\"", 2, 15, "corrections is \"some\"",
     "\"all\", \"none\", or a list of static-kept, static-heard"},
    {"CorrectionsNumber", "[mvrp]\ncorrections = true", 2, 15, "corrections is true", "\"all\""},
    {"CorrectionMisspelt", "[mvrp]\ncorrections = [\"static-kept\", \"leave-neded\"]", 2, 31,
     "names \"leave-neded\"", "did you mean \"leave-needed\"? Allowed: \"all\""},
    {"CorrectionUnlikeAny", "[mvrp]\ncorrections = [\"xyzzyplughquux\"]", 2, 16,
     "names \"xyzzyplughquux\"", "allowed: \"all\", \"none\", or a list"},
    {"CorrectionNoText", "[mvrp]\ncorrections = [1]", 2, 16, "names 1", "allowed: \"all\""},
    {"OptionNegative", "[mvrp]\nmaxifnum = -1", 2, 12, "-1", "0 to 65535"},
    {"ManagementUnit", "[management]\nenable = true\n[[management.port]]\nunit = 4", 4, 8, "4",
     "the unit of a [[port]]"},
    {"ManagementUnits",
     "[[port]]\nunit = 1\n[management]\nenable = true\n[[management.port]]\nunit = \"1-2\"", 6, 8,
     "1-2", "ranges"},
    {"ManagementNoUnit", "[management]\nenable = true\n[[management.port]]\nenable = true", 3, 1,
     "no unit", "the unit of a [[port]]"},
    {"ManagementTwice",
     "[[port]]\nunit = 1\n[management]\nenable = true\n[[management.port]]\nunit = "
     "1\n[[management.port]]\nunit = 1",
     8, 8, "unit 1 a second time", "once"},
    {"ManagementNotEnabled", "[[port]]\nunit = 1\n[[management.port]]\nunit = 1", 4, 8,
     "without enable = true", "[management]"},
    {"ComplianceNotEnabled", "[management]\ncompliance = true", 2, 14, "compliance = true",
     "enable = true"},
    {"Registration",
     "[[port]]\nunit = 1\n[management]\nenable = true\n[[management.port]]\nunit = 1\nregistration "
     "= "
     "\"open\"",
     7, 16, "\"open\"", "\"normal\", \"fixed\", \"forbidden\""},
    {"JoinTime",
     "[[port]]\nunit = 1\n[management]\nenable = true\n[[management.port]]\nunit = 1\njoin-time = "
     "199",
     7, 13, "199", "200 to 6000 ms"},
    {"LeaveTimeForJoinTime",
     "[[port]]\nunit = 1\n[management]\nenable = true\n[[management.port]]\nunit = 1\nleave-time = "
     "11999",
     7, 14, "11999", "at least twice the join-time"},
    {"LeaveAllTimeForLeaveTime",
     "[[port]]\nunit = 1\n[management]\nenable = true\n[[management.port]]\nunit = "
     "1\nleave-all-time = 29999",
     7, 18, "29999", "at least the leave-time"},
    {"Group", "[command]\ngroup = \"no-such-group\"", 2, 9, "no-such-group", "the name of a group"},
    {"DebugSocket", "[debug]\nsocket = 1", 2, 10, "1", "true or false"},
    {"StandbyNoRole", "[standby]\nlisten = \"/a\"", 1, 1, "no role", "\"active\" or \"standby\""},
    {"StandbyNoListen", "[standby]\nrole = \"standby\"", 1, 1, "no listen", "the socket path"},
    {"ActiveNoPeer", "[standby]\nrole = \"active\"", 1, 1, "no peer", "the socket path"},
    {"TakeOver", "[standby]\nrole = \"standby\"\nlisten = \"/a\"\ntake-over-after = 86401", 4, 19,
     "86401", "0 to 86400 seconds"},
    {"LostAfterShort", "[standby]\nrole = \"standby\"\nlisten = \"/a\"\nlost-after = 199", 4, 14,
     "199", "200 to 60000 milliseconds"},
    {"LostAfterLong", "[standby]\nrole = \"active\"\npeer = \"/a\"\nlost-after = 60001", 4, 14,
     "60001", "200 to 60000 milliseconds"},
    {"HeartbeatShort", "[standby]\nrole = \"active\"\npeer = \"/a\"\nheartbeat = 49", 4, 13, "49",
     "50 to 10000 milliseconds"},
    {"HeartbeatForLostAfter",
     "[standby]\nrole = \"active\"\npeer = \"/a\"\nheartbeat = 300\nlost-after = 599", 5, 14, "599",
     "at least two heartbeats"},
    {"TakeOverForLostAfter",
     "[standby]\nrole = \"standby\"\nlisten = \"/a\"\nlost-after = 2500\ntake-over-after = 2", 5,
     19, "2", "at least the time of lost-after"},
    {"ProcessUser", "[process]\nuser = \"no-such-user\"", 2, 8, "no-such-user", "name of a user"},
    {"KeepNetRaw", "[process]\nkeep-net-raw = 1", 2, 16, "1", "true or false"},
    {"MetricsAddress", "[metrics]\nlisten = \"localhost:9620\"", 2, 10, "localhost:9620",
     "a numeric address and a port from 1 to 65535"},
    {"MetricsPort", "[metrics]\nlisten = 9620", 2, 10, "9620", "text"},
    {"Store", "[store]\nfile = 5", 2, 8, "5", "text"},
};

class WrongConfig : public testing::TestWithParam<WrongFile> {};

TEST_P(WrongConfig, IsRefusedWithItsPlaceWhatWasFoundAndWhatIsAllowed) {
    const WrongFile& wrong = GetParam();
    const LoadedConfig loaded = parseConfig(wrong.document);
    EXPECT_FALSE(loaded.config);
    ASSERT_EQ(loaded.problems.size(), 1U) << formatProblem("second", loaded.problems.back());
    const ConfigProblem& problem = loaded.problems[0];
    EXPECT_EQ(problem.place.line, wrong.line) << problem.text;
    EXPECT_EQ(problem.place.column, wrong.column) << problem.text;
    EXPECT_NE(problem.text.find(wrong.found), std::string::npos) << problem.text;
    EXPECT_NE(problem.text.find(wrong.allowed), std::string::npos) << problem.text;
}

INSTANTIATE_TEST_SUITE_P(Files, WrongConfig, testing::ValuesIn(kWrongFiles),
                         [](const auto& file) { return file.param.name; });

TEST(WrongConfigFile, AllProblemsAreShownInTheOrderOfTheFile) {
    const LoadedConfig loaded =
        parseConfig("[store]\nfile = 1\n[[port]]\nunit = 0\nmtu = 1\n[mvrp]\nmaxifnum = true");
    ASSERT_EQ(loaded.problems.size(), 4U);
    for (std::size_t index = 1; index < loaded.problems.size(); index++)
        EXPECT_LT(loaded.problems[index - 1].place.line, loaded.problems[index].place.line);
}

TEST(WrongConfigFile, AFileThatCanNotBeReadIsNamed) {
    const LoadedConfig missing = loadConfig("/nonexistent/mvrp.toml");
    ASSERT_EQ(missing.problems.size(), 1U);
    EXPECT_EQ(formatProblem("/nonexistent/mvrp.toml", missing.problems[0]),
              "/nonexistent/mvrp.toml: can not be read: No such file or directory");
    EXPECT_FALSE(loadConfig("/").config);
    EXPECT_FALSE(loadConfig("/dev/zero").config);
}

TEST(WrongConfigFile, AProblemIsWrittenWithFileLineAndColumn) {
    EXPECT_EQ(formatProblem("a.toml", {{3, 7}, "text"}), "a.toml:3:7: text");
}

TEST(WrongConfigFile, ARightFileOnDiskIsLoaded) {
    const std::string path = testing::TempDir() + "mvrp-config-test-" + std::to_string(getpid());
    std::ofstream(path) << "[[port]]\nunit = 1\n";
    const LoadedConfig loaded = loadConfig(path);
    unlink(path.c_str());
    ASSERT_TRUE(loaded.config);
    EXPECT_EQ(loaded.config->network.ports.size(), 1U);
}

}  // namespace
}  // namespace platform
