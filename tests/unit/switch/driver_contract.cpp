// SPDX-License-Identifier: MIT
#include "tests/unit/switch/driver_contract.h"

namespace platform::testing {

void DriverContract::SetUp() {
    harness_ = GetParam()();
    installSwitchDriver(&harness_->driver());
}

void DriverContract::TearDown() {
    installSwitchDriver(nullptr);
    harness_.reset();
}

u32 readWord(u32 unit, QorIfAttribute attribute, u32& value) {
    return qorIfGetApi(unit, static_cast<u32>(attribute), &value);
}

u32 readVlans(u32 unit, QorIfAttribute attribute, VlanBitmap& vlans) {
    QorBuffer buffer = {vlans.data(), kVlanBitmapBytes};
    return qorIfGetApi(unit, static_cast<u32>(attribute), &buffer);
}

u32 setProtocol(u32 unit, QorIfAttribute attribute, u32 protocol) {
    return qorIfSetApi(unit, static_cast<u32>(attribute), &protocol);
}

u32 syncPort(u32 unit, QorIfAttribute attribute, VlanBitmap vlans) {
    QorBuffer buffer = {vlans.data(), kVlanBitmapBytes};
    return qorIfSyncApi(unit, static_cast<u32>(attribute), &buffer, 4096);
}

u32 syncVlans(QorVlanAttribute attribute, VlanBitmap vlans) {
    QorBuffer buffer = {vlans.data(), kVlanBitmapBytes};
    return qorVlanScalarSyncApi(0, static_cast<u32>(attribute), &buffer);
}

u32 typeOf(u32 vid) {
    u32 type = 0;
    qorVlanGetApi(vid, static_cast<u32>(QorVlanAttribute::Type), &type);
    return type;
}

VlanBitmap dynamicOf(u32 unit) {
    VlanBitmap vlans{};
    EXPECT_EQ(readVlans(unit, QorIfAttribute::DynamicMembership, vlans), kStatusOk);
    return vlans;
}

namespace {

constexpr u32 kStatic = static_cast<u32>(QorVlanType::Static);
constexpr u32 kDynamic = static_cast<u32>(QorVlanType::Dynamic);
constexpr u32 kUntouched = 0xDEADBEEF;

TEST_P(DriverContract, TrunkReadsItsAttributes) {
    u32 value = 0;
    EXPECT_EQ(readWord(port(), QorIfAttribute::LinkState, value), kStatusOk);
    EXPECT_EQ(value, 1U);
    EXPECT_EQ(readWord(port(), QorIfAttribute::Eligible, value), kStatusOk);
    EXPECT_EQ(value, 1U);
    EXPECT_EQ(readWord(port(), QorIfAttribute::Pvid, value), kStatusOk);
    EXPECT_EQ(value, 1U);
    EXPECT_EQ(readWord(port(), QorIfAttribute::Mtu, value), kStatusOk);
    EXPECT_GE(value, 1500U);
    std::array<u8, 6> mac{};
    QorBuffer buffer = {mac.data(), 6};
    EXPECT_EQ(qorIfGetApi(port(), static_cast<u32>(QorIfAttribute::MacAddress), &buffer),
              kStatusOk);
    EXPECT_NE(mac, (std::array<u8, 6>{}));
    EXPECT_EQ(mac[0] & 1, 0) << "a port has an individual address";
}

TEST_P(DriverContract, PermitListsHoldVlansThatDoNotExist) {
    VlanBitmap vlans{};
    ASSERT_EQ(readVlans(port(), QorIfAttribute::PermittedTagged, vlans), kStatusOk);
    EXPECT_EQ(vlans, vlanRange(2, 4094));
    ASSERT_EQ(readVlans(port(), QorIfAttribute::Permitted, vlans), kStatusOk);
    EXPECT_EQ(vlans, vlanRange(1, 4094));
}

TEST_P(DriverContract, PermittedVlanAnswersForTaggedAndUntagged) {
    for (const u32 vid : {1U, 2U, 4094U}) {
        u32 value = vid;
        EXPECT_EQ(readWord(port(), QorIfAttribute::PermittedVlan, value), kStatusOk) << vid;
    }
    for (const u32 vid : {0U, 4095U, 4096U, 0xFFFFFFFFU}) {
        u32 value = vid;
        EXPECT_NE(readWord(port(), QorIfAttribute::PermittedVlan, value), kStatusOk) << vid;
    }
}

TEST_P(DriverContract, ReadsOfAMissingPortFailAndLeaveTheOutput) {
    for (const auto attribute :
         {QorIfAttribute::LinkState, QorIfAttribute::Eligible, QorIfAttribute::Pvid,
          QorIfAttribute::Mtu, QorIfAttribute::PermittedVlan, QorIfAttribute::VlanIdOfInterface}) {
        u32 value = kUntouched;
        EXPECT_NE(readWord(harness().missingPort(), attribute, value), kStatusOk);
        EXPECT_EQ(value, kUntouched);
    }
    VlanBitmap vlans = vlanSet({77});
    for (const auto attribute : {QorIfAttribute::Permitted, QorIfAttribute::PermittedTagged,
                                 QorIfAttribute::DynamicMembership}) {
        EXPECT_NE(readVlans(harness().missingPort(), attribute, vlans), kStatusOk);
        EXPECT_EQ(vlans, vlanSet({77}));
    }
}

TEST_P(DriverContract, LinkFollowsThePort) {
    harness().setLink(port(), false);
    u32 value = kUntouched;
    EXPECT_EQ(readWord(port(), QorIfAttribute::LinkState, value), kStatusOk);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(readWord(otherPort(), QorIfAttribute::LinkState, value), kStatusOk);
    EXPECT_EQ(value, 1U);
}

TEST_P(DriverContract, VlanOneIsStaticAndExists) {
    EXPECT_EQ(typeOf(1), kStatic);
    u32 value = 0;
    EXPECT_EQ(qorVlanGetApi(1, static_cast<u32>(QorVlanAttribute::Exists), &value), kStatusOk);
}

TEST_P(DriverContract, ReadsOfAMissingVlanFailAndLeaveTheOutput) {
    for (const u32 vid : {0U, 2U, 4095U, 4096U, 0xFFFFFFFFU}) {
        for (const auto attribute : {QorVlanAttribute::Type, QorVlanAttribute::Exists}) {
            u32 value = kUntouched;
            EXPECT_NE(qorVlanGetApi(vid, static_cast<u32>(attribute), &value), kStatusOk) << vid;
            EXPECT_EQ(value, kUntouched);
        }
    }
}

TEST_P(DriverContract, CreationMakesDynamicVlansAndLeavesTheOthers) {
    harness().createStaticVlans(vlanSet({10}));
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({1, 10, 20})), kStatusOk);
    EXPECT_EQ(typeOf(1), kStatic);
    EXPECT_EQ(typeOf(10), kStatic);
    EXPECT_EQ(typeOf(20), kDynamic);
}

TEST_P(DriverContract, CreationWithAnImpossibleVlanCreatesNone) {
    EXPECT_NE(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({30, 4095})), kStatusOk);
    EXPECT_EQ(typeOf(30), 0U);
}

TEST_P(DriverContract, DeletionTakesDynamicVlansOnly) {
    harness().createStaticVlans(vlanSet({10}));
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20, 30})), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::DeleteDynamic, vlanSet({1, 10, 20})), kStatusOk);
    EXPECT_EQ(typeOf(1), kStatic);
    EXPECT_EQ(typeOf(10), kStatic);
    EXPECT_EQ(typeOf(20), 0U);
    EXPECT_EQ(typeOf(30), kDynamic);
}

TEST_P(DriverContract, DeletionLeavesVlansThatAPortIsADynamicMemberOf) {
    ASSERT_EQ(setProtocol(otherPort(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20, 30})), kStatusOk);
    ASSERT_EQ(syncPort(otherPort(), QorIfAttribute::AddDynamic, vlanSet({20})), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::DeleteDynamic, vlanSet({20, 30})), kStatusOk);
    EXPECT_EQ(typeOf(20), kDynamic);
    EXPECT_EQ(typeOf(30), 0U);
    EXPECT_EQ(dynamicOf(otherPort()), vlanSet({20})) << "a deletion takes no membership away";
    ASSERT_EQ(syncPort(otherPort(), QorIfAttribute::RemoveDynamic, vlanSet({20})), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::DeleteDynamic, vlanSet({20})), kStatusOk);
    EXPECT_EQ(typeOf(20), 0U);
}

// A standby is told to delete all that is not applied: mostly VLANs that do not exist.
TEST_P(DriverContract, DeletionOfEveryIdSucceeds) {
    harness().createStaticVlans(vlanSet({10}));
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20})), kStatusOk);
    VlanBitmap all{};
    all.fill(0xFF);
    EXPECT_EQ(syncVlans(QorVlanAttribute::DeleteDynamic, all), kStatusOk);
    EXPECT_EQ(typeOf(10), kStatic);
    EXPECT_EQ(typeOf(20), 0U);
}

TEST_P(DriverContract, DynamicMembershipsAddUp) {
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20, 21, 22})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({20, 21})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({21, 22})), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), vlanSet({20, 21, 22}));
    EXPECT_EQ(dynamicOf(otherPort()), VlanBitmap{});
}

TEST_P(DriverContract, DynamicMembershipDoesNotChangeThePermitLists) {
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({20})), kStatusOk);
    VlanBitmap vlans{};
    ASSERT_EQ(readVlans(port(), QorIfAttribute::PermittedTagged, vlans), kStatusOk);
    EXPECT_EQ(vlans, vlanRange(2, 4094));
}

TEST_P(DriverContract, MembershipOfAMissingVlanAddsNone) {
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20})), kStatusOk);
    EXPECT_NE(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({20, 21})), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), VlanBitmap{});
}

TEST_P(DriverContract, RemovalTakesTheListedMembershipsOnly) {
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20, 21})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({20, 21})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::RemoveDynamic, {}), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), vlanSet({20, 21})) << "an empty bitmap removes none";
    ASSERT_EQ(syncPort(port(), QorIfAttribute::RemoveDynamic, vlanSet({21, 99})), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), vlanSet({20}));
    EXPECT_EQ(typeOf(21), kDynamic) << "a removal deletes no VLAN";
}

TEST_P(DriverContract, RemovalEmptiesThePortThatDoesNotRunMvrp) {
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolGvrp), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20, 21})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({20, 21})), kStatusOk);
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolDisable, kProtocolMvrp), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), vlanSet({20, 21})) << "disabling alone removes none";
    ASSERT_EQ(syncPort(port(), QorIfAttribute::RemoveDynamic, vlanSet({21})), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), VlanBitmap{});
}

TEST_P(DriverContract, RemovalEmptiesThePortOfAStandby) {
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20, 21})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({20, 21})), kStatusOk);
    harness().driver().setRole(HostRole::Standby);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::RemoveDynamic, {}), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), VlanBitmap{});
}

/// A membership that this daemon did not add, and one that it adds again.
TEST_P(DriverContract, AdoptedMembershipsStayUntilTheyAreFoundUnclaimed) {
    SwitchDriver& driver = harness().driver();
    driver.setRole(HostRole::Standby);
    ASSERT_EQ(syncVlans(QorVlanAttribute::CreateDynamic, vlanSet({20, 21, 22})), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({20, 21})), kStatusOk);
    ASSERT_EQ(syncPort(otherPort(), QorIfAttribute::AddDynamic, vlanSet({21})), kStatusOk);
    driver.setRole(HostRole::Active);
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(syncPort(port(), QorIfAttribute::AddDynamic, vlanSet({21, 22})), kStatusOk);
    EXPECT_EQ(dynamicOf(port()), vlanSet({20, 21, 22}));
    EXPECT_EQ(driver.removeUnclaimed(), 2U);
    EXPECT_EQ(dynamicOf(port()), vlanSet({21, 22}));
    EXPECT_EQ(dynamicOf(otherPort()), VlanBitmap{});
    EXPECT_EQ(typeOf(20), 0U) << "a VLAN that lost its last member goes too";
    EXPECT_EQ(typeOf(21), kDynamic);
    EXPECT_EQ(driver.removeUnclaimed(), 0U);
}

TEST_P(DriverContract, ProtocolsDecideWhetherThePortTakesPart) {
    SwitchDriver& driver = harness().driver();
    EXPECT_FALSE(driver.framePolicy(port()).takesPart());
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolGvrp), kStatusOk);
    EXPECT_TRUE(driver.framePolicy(port()).gvrp);
    EXPECT_FALSE(driver.framePolicy(port()).mvrp);
    EXPECT_TRUE(driver.framePolicy(port()).takesPart());
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    EXPECT_TRUE(driver.framePolicy(port()).mvrp);
    EXPECT_FALSE(driver.framePolicy(otherPort()).takesPart());
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolDisable, kProtocolMvrp), kStatusOk);
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolDisable, kProtocolGvrp), kStatusOk);
    EXPECT_FALSE(driver.framePolicy(port()).takesPart());
}

TEST_P(DriverContract, StandbyTakesNoPart) {
    ASSERT_EQ(setProtocol(port(), QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    harness().driver().setRole(HostRole::Standby);
    EXPECT_FALSE(harness().driver().framePolicy(port()).takesPart());
    harness().driver().setRole(HostRole::Active);
    EXPECT_TRUE(harness().driver().framePolicy(port()).takesPart());
}

TEST_P(DriverContract, WritesToAMissingPortOrProtocolFail) {
    const u32 missing = harness().missingPort();
    EXPECT_NE(setProtocol(missing, QorIfAttribute::ProtocolEnable, kProtocolMvrp), kStatusOk);
    EXPECT_NE(setProtocol(port(), QorIfAttribute::ProtocolEnable, 31), kStatusOk);
    EXPECT_NE(syncPort(missing, QorIfAttribute::AddDynamic, vlanSet({1})), kStatusOk);
    EXPECT_NE(syncPort(missing, QorIfAttribute::RemoveDynamic, vlanSet({1})), kStatusOk);
}

TEST_P(DriverContract, IndexOfAPortIsDescribed) {
    QorIndexInfo info{};
    ASSERT_EQ(qorIndexTrans(port(), kIndexTransEndType, &info), kStatusOk);
    EXPECT_EQ(info.endType, static_cast<u32>(QorEndType::Port));
    EXPECT_NE(qorIndexTrans(harness().missingPort(), kIndexTransEndType, &info), kStatusOk);
    EXPECT_NE(qorIndexTrans(port(), 4, &info), kStatusOk);
}

TEST_P(DriverContract, IndexOfAVlanIsDescribedEvenWhenItWasJustDeleted) {
    const u32 index = kVlanInterfaceBase + 10;
    QorIndexInfo info{};
    u32 vid = 0;
    EXPECT_NE(qorIndexTrans(index, kIndexTransEndType, &info), kStatusOk);
    harness().createStaticVlans(vlanSet({10}));
    ASSERT_EQ(qorIndexTrans(index, kIndexTransEndType, &info), kStatusOk);
    EXPECT_EQ(info.endType, static_cast<u32>(QorEndType::Vlan));
    EXPECT_EQ(info.vid, 10U);
    ASSERT_EQ(readWord(index, QorIfAttribute::VlanIdOfInterface, vid), kStatusOk);
    EXPECT_EQ(vid, 10U);
    harness().deleteVlans(vlanSet({10}));
    info = {};
    ASSERT_EQ(qorIndexTrans(index, kIndexTransEndType, &info), kStatusOk);
    EXPECT_EQ(info.vid, 10U);
    EXPECT_NE(readWord(index, QorIfAttribute::VlanIdOfInterface, vid), kStatusOk);
}

TEST_P(DriverContract, NameIsCutToTheBuffer) {
    char name[64] = {};
    ASSERT_EQ(qorIfUnit2Name(port(), name, sizeof name), kStatusOk);
    EXPECT_STRNE(name, "");
    char cut[2] = {'x', 'x'};
    ASSERT_EQ(qorIfUnit2Name(port(), cut, sizeof cut), kStatusOk);
    EXPECT_EQ(cut[0], name[0]);
    EXPECT_EQ(cut[1], '\0');
    EXPECT_NE(qorIfUnit2Name(harness().missingPort(), name, sizeof name), kStatusOk);
}

TEST_P(DriverContract, ListsItsPortsInOrder) {
    const auto all = harness().driver().listPorts(0, 100);
    ASSERT_GE(all.size(), 2U);
    for (std::size_t i = 1; i < all.size(); ++i)
        EXPECT_LT(all[i - 1].unit, all[i].unit);
    EXPECT_EQ(harness().driver().listPorts(0, 1).size(), 1U);
    const auto rest = harness().driver().listPorts(all[0].unit, 100);
    ASSERT_EQ(rest.size(), all.size() - 1);
    EXPECT_EQ(rest[0].unit, all[1].unit);
}

}  // namespace
}  // namespace platform::testing
