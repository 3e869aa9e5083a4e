// SPDX-License-Identifier: MIT
#include "cli/views/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "cli/views/json.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_vlan.h"

namespace {

using namespace cli;
using nlohmann::json;

platform::VlanBitmap everyOther(u32 count) {
    platform::VlanBitmap vlans{};
    for (u32 i = 0; i < count; ++i)
        platform::vlanInsert(vlans, 2 + 2 * i);
    return vlans;
}

TEST(FormatVlansWithin, ShowsShortListsWhole) {
    EXPECT_EQ(formatVlansWithin(everyOther(3), 10), "2,4,6");
    EXPECT_EQ(formatVlansWithin(everyOther(3), 5), "2,4,6");
    EXPECT_EQ(formatVlansWithin({}, 5), "-");
}

TEST(FormatVlansWithin, CutsLongListsAtACommaAndCounts) {
    const std::string text = formatVlansWithin(everyOther(100), 20);
    EXPECT_EQ(text, "2,4,6,8,10,... (100)");
    for (std::size_t width = 10; width < 60; ++width)
        EXPECT_LE(formatVlansWithin(everyOther(100), width).size(), width);
}

TEST(Table, AlignsColumnsAndEndsLinesWithoutBlanks) {
    Table table({">Unit", "Name", "Last"});
    table.add({"1", "a", "x"});
    table.add({"10", "long", ""});
    EXPECT_EQ(table.print(Style{false}),
              "Unit  Name  Last\n"
              "   1  a     x\n"
              "  10  long\n");
}

TEST(Table, ColoursDoNotShiftColumns) {
    Table table({"A", "B"});
    table.add({Cell("up", Colour::Good), "x"});
    table.add({"down", "x"});
    std::string text = table.print(Style{true});
    EXPECT_NE(text.find("\x1b[32mup  \x1b[0m"), std::string::npos);
    EXPECT_EQ(table.print(Style{false}).find('\x1b'), std::string::npos);
}

TEST(Table, BreaksListsInTheirColumn) {
    Table table({"Kind", "VLANs"});
    table.add({"static", "1,10,100,1000,2000,3000,4000"});
    EXPECT_EQ(table.print(Style{false, 24}),
              "Kind    VLANs\n"
              "static  1,10,100,1000,\n"
              "        2000,3000,4000\n");
    EXPECT_EQ(table.print(Style{false, 0}),
              "Kind    VLANs\n"
              "static  1,10,100,1000,2000,3000,4000\n");
}

TEST(Table, PutsColumnsThatFindNoRoomBelow) {
    Table table({"Port", ">Frames in", ">Frames out", ">Bytes in"});
    table.add({"west", "1", "2", "3"});
    EXPECT_EQ(table.print(Style{false, 30}),
              "Port Frames in Frames out\n"
              "west         1          2\n"
              "\n"
              "Port Bytes in\n"
              "west        3\n");
}

TEST(Table, NeverExceedsATerminal) {
    Table table({">Unit", "Name", "Link", "Registered", "Declared", ">A number"});
    const std::string list = platform::formatVlanRanges(everyOther(300));
    table.add({"1", "west", "up", list, list, "12345"});
    for (std::size_t width = 30; width < 240; ++width) {
        std::istringstream lines(table.print(Style{false, width}));
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), width) << line;
    }
}

PortView runningPort() {
    PortView view;
    view.port.unit = 7;
    view.port.link = 1;
    std::string("east").copy(view.port.name.data(), 63);
    view.settings = PortSettings{true, 1, 1, 1000, 200, 600, 10000};
    view.registered = platform::vlanRange(10, 12);
    view.dynamic = platform::vlanRange(10, 11);
    return view;
}

TEST(PortText, ShowsSettingsAndVlansAsRanges) {
    const std::string text = portText(runningPort(), Style{false});
    EXPECT_NE(text.find("VLANs registered  10-12\n"), std::string::npos) << text;
    EXPECT_NE(text.find("VLANs learnt      10-11\n"), std::string::npos) << text;
    EXPECT_NE(text.find("join 200 ms, leave 600 ms, leave-all 10000 ms, periodic 1000 ms"),
              std::string::npos)
        << text;
}

TEST(PortsText, CutsListsSoThatAPortIsALineInEightyColumns) {
    std::vector<PortView> ports(3, runningPort());
    ports[1].declared = everyOther(300);
    ports[1].registered = everyOther(30);
    const std::string text = portsText(ports, Style{false, 80});
    EXPECT_EQ(std::ranges::count(text, '\n'), 4) << text;
    EXPECT_NE(text.find("... (300)"), std::string::npos) << text;
}

VlansView twoPorts() {
    VlansView view;
    for (u32 unit = 1; unit <= 2; ++unit) {
        PortView port;
        port.port.unit = unit;
        ("swp" + std::to_string(unit)).copy(port.port.name.data(), 63);
        port.machines.assign(4095, platform::MachineRecord{0, 2, 0});
        view.ports.push_back(port);
    }
    return view;
}

TEST(VlanText, OfAVlanThatDoesNotExistHasNoMachines) {
    EXPECT_EQ(vlanText(77, twoPorts(), Style{false}),
              "VLAN  77\n"
              "Kind  does not exist on this switch: neither created here nor learnt\n");
}

TEST(VlanText, OfAVlanThatIsOnItsWayHasTheMachinesInUse) {
    VlansView view = twoPorts();
    view.ports[1].machines[77 - 1] = {0, 0, 2};
    const std::string text = vlanText(77, view, Style{false});
    EXPECT_EQ(text.find("swp1"), std::string::npos) << text;
    EXPECT_NE(text.find("swp2   VO"), std::string::npos) << text;
}

TEST(VlansText, HasPortsAsRanges) {
    VlanGroup group;
    group.kind = static_cast<u32>(QorVlanType::Static);
    group.taggedPorts = {"swp1", "swp2", "swp3"};
    group.untaggedPorts = {"swp4", "swp5", "up"};
    group.vlans = platform::vlanRange(10, 12);
    EXPECT_NE(vlansText({group}, Style{false}).find("swp1-3 swp4-5(untagged) up(untagged)  -  "),
              std::string::npos)
        << vlansText({group}, Style{false});
}

std::set<std::string> keys(const json& object) {
    std::set<std::string> names;
    for (const auto& item : object.items())
        names.insert(item.key());
    return names;
}

TEST(PortsJson, HasTheSameShapeForAnyNumberOfPorts) {
    EXPECT_EQ(json::parse(portsJson({}))["ports"], json::array());
    const json one = json::parse(portsJson({runningPort()}));
    EXPECT_EQ(one["version"], 1);
    ASSERT_EQ(one["ports"].size(), 1U);
    EXPECT_EQ(one["ports"][0]["vlansRegistered"], "10-12");
    EXPECT_EQ(one["ports"][0]["portMrpJoinTime"], 200);
}

TEST(PortsJson, HasTheSameKeysWithAndWithoutMvrp) {
    PortView off = runningPort();
    off.settings.reset();
    const json ports = json::parse(portsJson({runningPort(), off}))["ports"];
    EXPECT_EQ(keys(ports[0]), keys(ports[1]));
    EXPECT_TRUE(ports[1]["portMrpJoinTime"].is_null());
    EXPECT_EQ(ports[1]["portMvrpEnabledStatus"], false);
}

TEST(PortsJson, IsJsonWhateverANameHolds) {
    PortView view = runningPort();
    std::string("\"\xff\n").copy(view.port.name.data(), 63);
    view.port.name[3] = '\0';
    EXPECT_TRUE(json::accept(portsJson({view})));
}

TEST(VlansJson, NamesTheStatusAsTheBridgeMibDoes) {
    VlanGroup group;
    group.vlans = platform::vlanRange(5, 6);
    group.kind = static_cast<u32>(QorVlanType::Dynamic);
    group.dynamicPorts = {"a"};
    const json vlans = json::parse(vlansJson({group}))["vlans"];
    EXPECT_EQ(vlans[0]["vlanStatus"], "dynamicMvrp");
    EXPECT_EQ(vlans[0]["vlans"], "5-6");
    EXPECT_EQ(vlans[0]["learntPorts"], json::array({"a"}));
}

TEST(ErrorJson, HoldsTheStatusAndTheText) {
    const json error = json::parse(errorJson(22, "no \"such\" thing"));
    EXPECT_EQ(error["version"], 1);
    EXPECT_EQ(error["status"], 22);
    EXPECT_EQ(error["statusName"], "badArgument");
    EXPECT_EQ(error["error"], "no \"such\" thing");
    EXPECT_EQ(json::parse(errorJson(MVRP_ERR_NO_MEMORY, ""))["statusName"], "noRoom");
    EXPECT_EQ(json::parse(errorJson(7, ""))["statusName"], "unknown");
    EXPECT_EQ(json::parse(errorJson(kWrongUsage, ""))["statusName"], "wrongUsage");
}

}  // namespace
