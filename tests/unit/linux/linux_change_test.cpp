// SPDX-License-Identifier: MIT
//
// What an operator can not change through the daemon, and what the answer says.
#include "platform/requests/switch_requests.h"
#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

TEST(LinuxChange, EveryChangeIsRefusedWithWhatToDoInstead) {
    LinuxNode node;
    node.start();
    for (u32 kind = 1; kind <= 30; kind++) {
        if (kind == static_cast<u32>(SwitchChangeKind::PortWireForm) ||
            kind == static_cast<u32>(SwitchChangeKind::PortRecord))
            continue;
        std::string error;
        const auto record = changeOf(static_cast<SwitchChangeKind>(kind), kEth0, 20, vlanSet({20}));
        EXPECT_EQ(node.driver->change(record, error), HostStatus::Unsupported) << kind;
        EXPECT_FALSE(error.empty()) << kind;
        EXPECT_EQ(error.find('%'), std::string::npos) << error;
    }
    EXPECT_TRUE(node.kernel.requests.empty());
}

TEST(LinuxChange, TheAnswerNamesPortAndBridge) {
    LinuxNode node;
    node.start();
    std::string error;
    node.driver->change(changeOf(SwitchChangeKind::VlanAddPort, kEth0), error);
    EXPECT_NE(error.find("bridge vlan add dev eth0 vid VLAN"), std::string::npos) << error;
    node.driver->change(changeOf(SwitchChangeKind::VlanCreate, 0), error);
    EXPECT_NE(error.find("bridge vlan add dev br0 vid VLAN self"), std::string::npos) << error;
    node.driver->change(changeOf(SwitchChangeKind::PortDelete, 999), error);
    EXPECT_NE(error.find("ip link set dev NAME nomaster"), std::string::npos) << error;
}

TEST(LinuxChange, CablesAreRefusedThroughTheCommandChannelToo) {
    LinuxNode node;
    node.start();
    const auto record = changeOf(SwitchChangeKind::PortCable, kEth0);
    std::vector<u8> reply;
    const u32 status = handleSwitchChange(
        {*node.driver}, {}, {reinterpret_cast<const u8*>(&record), sizeof record}, reply);
    EXPECT_EQ(status, static_cast<u32>(HostStatus::Unsupported));
    EXPECT_NE(std::string(reply.begin(), reply.end()).find("the interface is what"),
              std::string::npos);
}

}  // namespace
}  // namespace platform::testing
