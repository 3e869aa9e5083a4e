// SPDX-License-Identifier: MIT
#include "network/read/read.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "network/read/snapshot_text.h"
#include "network/read/sources.h"
#include "tests/scratch_directory.h"

namespace network {
namespace {

using Json = nlohmann::json;

Json snapshotOf(const std::string& name, const std::string& mac, u64 taken = 1000) {
    return {
        {"version", 1},
        {"kind", "snapshot"},
        {"taken", taken},
        {"hostName", "host-" + name},
        {"switch", {{"name", name}, {"driver", "software switch"}, {"corrections", {"admission"}}}},
        {"vlansStatic", "1,30"},
        {"ports",
         {{{"port", 1},
           {"name", "p1"},
           {"macAddress", mac},
           {"linkUp", true},
           {"vlansRegistered", "30-32"},
           {"neighbours", {{{"macAddress", "02:00:00:00:00:09"}, {"protocol", "gvrp"}}}}}}}};
}

/// A member of an archive, as ustar has it.
std::string tarred(const std::string& name, const std::string& content) {
    std::string header(512, '\0');
    name.copy(header.data(), 100);
    std::snprintf(header.data() + 124, 12, "%011zo", content.size());
    header[156] = '0';
    std::string("ustar").copy(header.data() + 257, 5);
    return header + content + std::string((512 - content.size() % 512) % 512, '\0');
}

class Read : public ::testing::Test {
  protected:
    std::string path(const std::string& name) { return scratch.path(name); }
    void write(const std::string& name, const std::string& text) {
        std::ofstream(path(name), std::ios::binary) << text;
    }
    Collection read() { return readCollection({scratch.path()}); }

    ScratchDirectory scratch;
};

TEST(SnapshotText, BecomesRecords) {
    const Switch each = parseSnapshot(snapshotOf("west", "02:00:00:00:00:01").dump());
    EXPECT_EQ(each.name, "west");
    EXPECT_FALSE(each.linux);
    EXPECT_TRUE(platform::vlanContains(each.staticVlans, 30));
    ASSERT_EQ(each.ports.size(), 1U);
    EXPECT_EQ(each.ports[0].mac, 0x020000000001U);
    EXPECT_TRUE(platform::vlanContains(each.ports[0].registered, 32));
    EXPECT_TRUE(each.ports[0].neighbours[0].gvrp);
}

TEST(SnapshotText, AnythingElseIsRefusedAndNothingIsReadBeyondIt) {
    const std::string good = snapshotOf("west", "02:00:00:00:00:01").dump();
    for (std::size_t length = 0; length < good.size(); ++length)
        EXPECT_THROW(parseSnapshot(good.substr(0, length)), SnapshotError) << length;
    for (const char* const text :
         {"[]", "7", "null", "{\"kind\":\"snapshot\"}", "{\"kind\":\"snapshot\",\"version\":2}",
          "{\"kind\":\"snapshot\",\"version\":\"1\"}"})
        EXPECT_THROW(parseSnapshot(text), SnapshotError) << text;
    for (const char* const key : {"vlansStatic", "taken", "hostName"}) {
        Json damaged = snapshotOf("west", "02:00:00:00:00:01");
        damaged[key] = Json::array();
        EXPECT_THROW(parseSnapshot(damaged.dump()), SnapshotError) << key;
    }
    EXPECT_THROW(parseSnapshot(std::string(100'000, '[')), SnapshotError);
}

TEST(SnapshotText, TimersOfEarlierReleasesAreUnknown) {
    Json json = snapshotOf("west", "02:00:00:00:00:01");
    Switch each = parseSnapshot(json.dump());
    EXPECT_FALSE(each.nextApplyMs.has_value());
    EXPECT_FALSE(each.ports[0].leaveAllSentMs.has_value());
    json["nextApply"] = 250;
    json["ports"][0]["leaveAllSent"] = 1200;
    json["ports"][0]["leaveAllHeard"] = nullptr;
    each = parseSnapshot(json.dump());
    EXPECT_EQ(each.nextApplyMs, 250U);
    EXPECT_EQ(each.ports[0].leaveAllSentMs, 1200U);
    EXPECT_FALSE(each.ports[0].leaveAllHeardMs.has_value());
    json["ports"][0]["leaveAllSent"] = "soon";
    EXPECT_THROW(parseSnapshot(json.dump()), SnapshotError);
}

/// Every other VLAN up to `last`.
std::string alternating(u32 last) {
    std::string text;
    for (u32 vid = 2; vid <= last; vid += 2)
        text += (text.empty() ? "" : ",") + std::to_string(vid);
    return text;
}

TEST(SnapshotText, LongListsOfVlansAreReadAsShortOnesAre) {
    Json json = snapshotOf("west", "02:00:00:00:00:01");
    Json& port = json["ports"][0];
    json["vlansStatic"] = port["vlansMember"] = alternating(4094);
    port["vlansDeclared"] = alternating(400);
    port["heard"] = {{{"vlans", alternating(400)}, {"age", 3000}}};
    const Switch each = parseSnapshot(json.dump());
    EXPECT_EQ(each.staticVlans, *platform::parseVlanRanges(alternating(4094)));
    EXPECT_EQ(each.ports[0].member, each.staticVlans);
    EXPECT_EQ(each.ports[0].declared, *platform::parseVlanRanges(alternating(400)));
    EXPECT_EQ(each.ports[0].heardAges.at(0).vlans, each.ports[0].declared);
    EXPECT_EQ(each.ports[0].registered, platform::vlanRange(30, 32));
    for (const std::string& wrong : {alternating(4094) + ",4095", alternating(400) + ","}) {
        port["vlansDeclared"] = wrong;
        EXPECT_THROW(parseSnapshot(json.dump()), SnapshotError) << wrong;
    }
}

TEST(SnapshotText, WordsThatStandForListsAreNoneOfTheDocument) {
    Json json = snapshotOf("west", "02:00:00:00:00:01");
    json["vlansStatic"] = alternating(400);
    json["ports"][0]["vlansDeclared"] = "@0";
    EXPECT_THROW(parseSnapshot(json.dump()), SnapshotError);
    json["ports"][0]["vlansDeclared"] = "-";
    json["switch"]["name"] = "@0";
    EXPECT_EQ(parseSnapshot(json.dump()).name, "@0");
    json["switch"]["name"] = alternating(400);  // a name is no list
    EXPECT_EQ(parseSnapshot(json.dump()).name, alternating(400));
    json["hostName"] = "quote \" and \\";
    json["configFile"] = "vlans";
    EXPECT_EQ(parseSnapshot(json.dump()).hostName, "quote \" and \\");
    EXPECT_EQ(parseSnapshot(json.dump()).staticVlans, *platform::parseVlanRanges(alternating(400)));
}

TEST(SnapshotText, MoreListsThanAreLiftedAreRead) {
    Json json = snapshotOf("west", "02:00:00:00:00:01");
    Json list = Json::array();
    for (u32 n = 0; n < 200; ++n)
        list.push_back({{"vlans", alternating(400 + 2 * n)}, {"age", n}});
    json["ports"][0]["heard"] = list;
    const Switch each = parseSnapshot(json.dump());
    for (u32 n = 0; n < 200; ++n)
        EXPECT_EQ(each.ports[0].heardAges.at(n).vlans,
                  *platform::parseVlanRanges(alternating(400 + 2 * n)));
}

TEST(SnapshotText, HostileNamesAreMadeSafe) {
    Json hostile = snapshotOf("we\x1b[31mst\n", "02:00:00:00:00:01");
    EXPECT_EQ(parseSnapshot(hostile.dump()).name, "we?[31mst?");
}

TEST_F(Read, OfFilesDirectoriesAndArchivesWithALineForEachThatIsWrong) {
    write("a.json", snapshotOf("west", "02:00:00:00:00:01").dump());
    write("b.json", "{\"kind\":");
    write("c.txt", "not looked at");
    write("d.tar", tarred("x/east.json", snapshotOf("east", "02:00:00:00:00:02").dump()) +
                       tarred("readme", "no snapshot") + std::string(1024, '\0'));
    Collection collection = read();
    ASSERT_EQ(collection.switches.size(), 2U);
    EXPECT_EQ(collection.switches[0].name, "east");
    EXPECT_EQ(collection.switches[0].source, path("d.tar") + ":x/east.json");
    ASSERT_EQ(collection.problems.size(), 1U);
    EXPECT_NE(collection.problems[0].find("b.json: is no JSON"), std::string::npos);
    collection = readCollection({path("a.json"), path("missing.json")});
    EXPECT_EQ(collection.switches.size(), 1U);
    EXPECT_EQ(collection.problems.size(), 1U);
}

TEST_F(Read, ADamagedArchiveIsALine) {
    const std::string whole = tarred("east.json", snapshotOf("east", "02:00:00:00:00:02").dump());
    for (const std::size_t length : {std::size_t{100}, std::size_t{600}}) {
        std::vector<std::string> names;
        EXPECT_NE(readTar(whole.substr(0, length),
                          [&names](std::string name, std::string) { names.push_back(name); }),
                  "");
        EXPECT_TRUE(names.empty());
    }
    EXPECT_NE(readTar(std::string(512, 'x'), [](std::string, std::string) {}), "");
}

TEST_F(Read, TheNewerOfTwoOfOneSwitchAndNamesOfTheirOwn) {
    write("a.json", snapshotOf("west", "02:00:00:00:00:01", 1000).dump());
    write("b.json", snapshotOf("west", "02:00:00:00:00:01", 2000).dump());
    write("c.json", snapshotOf("west", "02:00:00:00:00:02", 2000).dump());
    const Collection collection = read();
    ASSERT_EQ(collection.switches.size(), 2U);
    EXPECT_NE(collection.switches[0].name, collection.switches[1].name);
    ASSERT_EQ(collection.problems.size(), 1U);
    EXPECT_NE(collection.problems[0].find("a.json: an older snapshot"), std::string::npos);
}

TEST_F(Read, ASwitchThatIsGoneIsSpokenOf) {
    write("a.json", snapshotOf("west", "02:00:00:00:00:01", 1000).dump());
    write("b.json", snapshotOf("east", "02:00:00:00:00:02", 1000 + 3'600'000).dump());
    const Collection collection = read();
    EXPECT_EQ(collection.switches.size(), 2U);
    ASSERT_EQ(collection.problems.size(), 1U);
    EXPECT_NE(collection.problems[0].find("is west gone?"), std::string::npos);
}

}  // namespace
}  // namespace network
