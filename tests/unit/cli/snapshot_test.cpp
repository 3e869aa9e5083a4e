// SPDX-License-Identifier: MIT
#include "cli/snapshot/snapshot.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "platform/contract/management.h"
#include "platform/contract/qor_vlan.h"

namespace cli {
namespace {

using platform::SnapshotPart;
using platform::VlanBitmap;
using platform::vlanRange;

/// An answer of the daemon, put together section by section.
class Answer {
  public:
    template <typename Record>
    void add(u32 part, u32 unit, u32 attribute, const std::vector<Record>& records) {
        const auto bytes = std::as_bytes(std::span(records));
        append({part, unit, attribute, 0, static_cast<u32>(bytes.size())}, bytes);
    }
    template <typename Record>
    void add(SnapshotPart part, u32 unit, const std::vector<Record>& records) {
        add(static_cast<u32>(part), unit, 0, records);
    }
    void append(const platform::SnapshotSection& head, std::span<const std::byte> bytes) {
        const auto raw = std::as_bytes(std::span(&head, 1));
        all.insert(all.end(), raw.begin(), raw.end());
        all.insert(all.end(), bytes.begin(), bytes.end());
    }

    std::vector<std::byte> all;
};

constexpr u32 kUnit = 7;

Answer onePort() {
    platform::SwitchPortRecord port{};
    port.unit = kUnit;
    port.link = 1;
    std::string("swp7").copy(port.name.data(), port.name.size());
    Answer answer;
    answer.add(static_cast<u32>(platform::Request::PortList), 0, 0, std::vector{port});
    answer.add(static_cast<u32>(platform::Request::PortGet), kUnit, MVRP_PORT_ENABLE,
               std::vector<u32>{MVRP_ON});
    answer.add(static_cast<u32>(platform::Request::PortGet), kUnit, MVRP_PORT_LEAVE_ALL_TIMEOUT,
               std::vector<u32>{10'000});
    answer.add(static_cast<u32>(platform::Request::PortVlans), kUnit,
               static_cast<u32>(platform::VlanSet::Permitted), std::vector{vlanRange(1, 100)});
    return answer;
}

TEST(SnapshotRead, ASectionEachGoesToItsPort) {
    Answer answer = onePort();
    answer.add(SnapshotPart::PortMachines, kUnit,
               std::vector{platform::MachineRun{10, 12, {5, 0, 2}, 0}});
    answer.add(SnapshotPart::PortHeard, kUnit, std::vector{platform::VlanTimeRun{10, 12, 3}});
    answer.add(SnapshotPart::PortLimits, kUnit, std::vector{platform::PortLimitsRecord{50}});
    const SnapshotFacts facts = readSnapshot(answer.all);
    ASSERT_EQ(facts.ports.size(), 1U);
    const PortSnapshot& port = facts.ports[0];
    EXPECT_STREQ(port.view.port.name.data(), "swp7");
    EXPECT_TRUE(port.view.settings->enabled);
    EXPECT_EQ(port.view.settings->leaveAllTime, 10'000U);
    EXPECT_EQ(port.view.permitted, vlanRange(1, 100));
    EXPECT_EQ(port.view.registered, vlanRange(10, 12));
    EXPECT_EQ(port.view.declared, vlanRange(10, 12));
    EXPECT_EQ(port.maxVlans, 50U);
    EXPECT_EQ(heardVlans(port), vlanRange(10, 12));
}

TEST(SnapshotRead, WhereTimersStandIsToldOrNull) {
    Answer answer = onePort();
    Answer telling = answer;
    telling.add(SnapshotPart::NextApply, 0, std::vector<u64>{700});
    telling.add(SnapshotPart::PortLeaveAlls, kUnit,
                std::vector{platform::PortHistoryRecord{platform::kNever, 1500, 0}});
    const auto told = nlohmann::json::parse(snapshotJson(readSnapshot(telling.all)));
    EXPECT_EQ(told["nextApply"], 700);
    EXPECT_EQ(told["ports"][0]["leaveAllSent"], 1500);
    EXPECT_TRUE(told["ports"][0]["leaveAllHeard"].is_null());
    answer.add(SnapshotPart::NextApply, 0, std::vector<u32>{700});  // too short
    const auto silent = nlohmann::json::parse(snapshotJson(readSnapshot(answer.all)));
    EXPECT_TRUE(silent["nextApply"].is_null());
    EXPECT_TRUE(silent["ports"][0]["leaveAllSent"].is_null());
}

TEST(SnapshotRead, UnknownAndRefusedAndCutSectionsArePassedOver) {
    Answer answer = onePort();
    answer.add(SnapshotPart{4000}, kUnit, std::vector<u32>{1, 2, 3});
    answer.append({static_cast<u32>(platform::Request::HostInfo), 0, 0, 38, 0}, {});
    answer.add(SnapshotPart::PortLimits, kUnit, std::vector<u8>{1, 2});
    answer.append({static_cast<u32>(SnapshotPart::PortHeard), kUnit, 0, 0, 5000}, {});
    const SnapshotFacts facts = readSnapshot(answer.all);
    ASSERT_EQ(facts.ports.size(), 1U);
    EXPECT_EQ(facts.ports[0].maxVlans, 0U);
    EXPECT_TRUE(readSnapshot(std::span(answer.all).first(11)).ports.empty());
}

TEST(SnapshotRead, VlansBeyondTheLastAreNotTaken) {
    Answer answer = onePort();
    answer.add(SnapshotPart::PortMachines, kUnit,
               std::vector{platform::MachineRun{0, 0xFFFF, {5, 0, 2}, 0}});
    EXPECT_EQ(readSnapshot(answer.all).ports[0].view.registered, vlanRange(1, 4094));
}

PortSnapshot hearing(u32 first, u32 last) {
    Answer answer = onePort();
    answer.add(
        SnapshotPart::PortHeard, kUnit,
        std::vector{platform::VlanTimeRun{static_cast<u16>(first), static_cast<u16>(last), 1}});
    return readSnapshot(answer.all).ports[0];
}

TEST(SnapshotRefused, WhatThePermitListLeavesOut) {
    const auto refused = refusedVlans(hearing(99, 102), {});
    ASSERT_EQ(refused.size(), 1U);
    EXPECT_STREQ(refused[0].reason, "notPermitted");
    EXPECT_EQ(refused[0].vlans, vlanRange(101, 102));
}

TEST(SnapshotRefused, TheRegistrationModeAndTheLimit) {
    PortSnapshot port = hearing(10, 12);
    EXPECT_TRUE(refusedVlans(port, {}).empty());
    port.view.settings->registration = MVRP_REGISTRATION_FORBIDDEN;
    ASSERT_EQ(refusedVlans(port, {}).size(), 1U);
    EXPECT_STREQ(refusedVlans(port, {})[0].reason, "forbidden");
    EXPECT_TRUE(refusedVlans(port, vlanRange(10, 12)).empty()) << "it is static here";
    port.view.settings->registration = MVRP_REGISTRATION_NORMAL;
    port.view.registered = vlanRange(10, 10);
    port.maxVlans = 1;
    ASSERT_EQ(refusedVlans(port, {}).size(), 1U);
    EXPECT_STREQ(refusedVlans(port, {})[0].reason, "tooMany");
    EXPECT_EQ(refusedVlans(port, {})[0].vlans, vlanRange(11, 12));
}

TEST(SnapshotRefused, WhatWasNotSaidForTwoLeaveAllsIsNotDeclaredAnyMore) {
    PortSnapshot port = hearing(10, 12);
    port.heard[0].agoSeconds = 100;
    EXPECT_EQ(heardVlans(port), VlanBitmap{});
}

TEST(SnapshotJson, HoldsWhatLldpSaysAndNothingOfWhatItCanNotRead) {
    SnapshotFacts facts = readSnapshot(onePort().all);
    const auto lldp = [&facts](const char* text) {
        facts.lldp = text;
        return nlohmann::json::parse(snapshotJson(facts))["lldp"];
    };
    for (const char* const text :
         {"", "{", "[]", "{\"lldp\":5}", "{\"lldp\":[{\"interface\":{\"name\":1}}]}"})
        EXPECT_TRUE(lldp(text).is_null()) << text;
    const auto known =
        lldp(R"({"lldp":[{"interface":[{"name":"swp7","chassis":[{"id":[{"type":"mac",)"
             R"("value":"02:00:00:00:00:01"}],"name":[{"value":"east"}]}],"port":[{"id":[{"value":)"
             R"("swp1"}]}]},7]}]})");
    ASSERT_EQ(known.size(), 2U);
    EXPECT_EQ(known[0]["interface"], "swp7");
    EXPECT_EQ(known[0]["systemName"], "east");
    EXPECT_EQ(known[0]["portId"], "swp1");
    EXPECT_TRUE(known[0]["portDescription"].is_null());
    EXPECT_TRUE(known[1]["interface"].is_null());
}

TEST(SnapshotJson, HoldsTheBridgeAsTheKernelHasIt) {
    SnapshotFacts facts = readSnapshot(onePort().all);
    EXPECT_TRUE(nlohmann::json::parse(snapshotJson(facts))["bridge"].is_null());
    platform::KernelLink bridge;
    bridge.index = 3;
    bridge.name = "br0";
    bridge.kind = platform::LinkKind::Bridge;
    bridge.vlanFiltering = true;
    platform::KernelLink port;
    port.index = kUnit;
    port.master = bridge.index;
    port.name = "swp7";
    port.bridgePort = true;
    port.stpState = platform::StpState::Blocking;
    facts.system.emplace();
    facts.system->links = {bridge, port};
    facts.system->vlans.push_back({.index = kUnit, .carried = vlanRange(1, 9), .pvid = 1});
    const auto json = nlohmann::json::parse(snapshotJson(facts));
    EXPECT_EQ(json["ports"][0]["stpState"], "blocking");
    EXPECT_EQ(json["bridge"]["name"], "br0");
    EXPECT_EQ(json["bridge"]["vlanFiltering"], true);
    EXPECT_TRUE(json["bridge"]["stpState"].is_null());
    ASSERT_EQ(json["bridge"]["ports"].size(), 1U);
    EXPECT_EQ(json["bridge"]["ports"][0]["vlans"], "1-9");
    EXPECT_EQ(json["bridge"]["ports"][0]["stpState"], "blocking");
}

}  // namespace
}  // namespace cli
