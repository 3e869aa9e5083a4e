// SPDX-License-Identifier: MIT
#include "cli/views/vlan_groups.h"

#include <gtest/gtest.h>

#include "platform/contract/qor_vlan.h"

namespace {

using namespace cli;
using platform::formatVlanRanges;
using platform::VlanBitmap;
using platform::vlanInsert;
using platform::vlanRange;

PortView port(const char* name) {
    PortView view;
    std::string(name).copy(view.port.name.data(), view.port.name.size() - 1);
    return view;
}

VlansView twoPorts() {
    VlansView view;
    vlanInsert(view.staticVlans, 1);
    view.staticVlans = vlanRange(1, 3);
    view.dynamicVlans = vlanRange(10, 12);
    view.ports = {port("a"), port("b")};
    view.ports[0].permitted = vlanRange(1, 4094);
    view.ports[0].permittedTagged = vlanRange(2, 4094);
    vlanInsert(view.ports[1].dynamic, 11);
    return view;
}

TEST(GroupVlans, PutsVlansOfTheSameKindAndPortsTogether) {
    const std::vector<VlanGroup> groups = groupVlans(twoPorts(), std::nullopt);
    ASSERT_EQ(groups.size(), 4U);
    EXPECT_EQ(formatVlanRanges(groups[0].vlans), "1");
    EXPECT_EQ(groups[0].untaggedPorts, std::vector<std::string>{"a"});
    EXPECT_TRUE(groups[0].taggedPorts.empty());
    EXPECT_EQ(formatVlanRanges(groups[1].vlans), "2-3");
    EXPECT_EQ(groups[1].taggedPorts, std::vector<std::string>{"a"});
    EXPECT_EQ(formatVlanRanges(groups[2].vlans), "10,12");
    EXPECT_EQ(groups[2].kind, static_cast<u32>(QorVlanType::Dynamic));
    EXPECT_EQ(formatVlanRanges(groups[3].vlans), "11");
    EXPECT_EQ(groups[3].dynamicPorts, std::vector<std::string>{"b"});
}

TEST(GroupVlans, OfOneVlanHoldsThatVlanOnly) {
    const std::vector<VlanGroup> groups = groupVlans(twoPorts(), 3);
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(formatVlanRanges(groups[0].vlans), "3");
}

TEST(GroupVlans, OfAVlanThatDoesNotExistIsEmpty) {
    EXPECT_TRUE(groupVlans(twoPorts(), 4).empty());
}

PortView portWithMachines() {
    PortView view = port("a");
    view.machines.assign(4095, platform::MachineRecord{0, 0, 0});
    for (const u32 vid : {5U, 6U, 4094U})
        view.machines[vid - 1] = {10, 0, 2};
    view.machines[7 - 1] = {1, 3, 3};
    view.machines[8 - 1] = {0, 2, 0};  // was in use, and is not any more
    return view;
}

TEST(GroupStates, LeavesOutMachinesThatAreNotInUse) {
    const std::vector<StateGroup> groups = groupStates(portWithMachines(), std::nullopt);
    ASSERT_EQ(groups.size(), 2U);
    EXPECT_EQ(formatVlanRanges(groups[0].vlans), "5-6,4094");
    EXPECT_EQ(formatVlanRanges(groups[1].vlans), "7");
}

TEST(GroupStates, OfOneVlanShowsItInUseOrNot) {
    const std::vector<StateGroup> groups = groupStates(portWithMachines(), 8);
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(groups[0].machine.registrar, 2);
}

TEST(GroupStates, OfAPortWithoutMvrpIsEmpty) {
    EXPECT_TRUE(groupStates(port("a"), 8).empty());
}

TEST(CountVlans, CountsAllOfThem) {
    EXPECT_EQ(countVlans(vlanRange(1, 4094)), 4094U);
    EXPECT_EQ(countVlans({}), 0U);
}

}  // namespace
