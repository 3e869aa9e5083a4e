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
            kind == static_cast<u32>(SwitchChangeKind::PortRecord) ||
            kind == static_cast<u32>(SwitchChangeKind::PortRepair))
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

TEST(LinuxChange, ARepairPutsBackAtOnceWhatOthersRemoveAgainAndAgain) {
    LinuxNode node;
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({10, 11})));
    for (u32 removal = 0; removal < 8; removal++) {
        node.kernel.removeVlans(kEth0, vlanSet({10}));
        node.settle();
    }
    ASSERT_FALSE(vlanContains(node.kernel.vlansOf(kEth0).carried, 10)) << "held back";
    std::string error;
    EXPECT_EQ(node.driver->change(changeOf(SwitchChangeKind::PortRepair, kEth0), error),
              HostStatus::Ok)
        << error;
    EXPECT_EQ(node.carried(kEth0), "1,10-11");
    EXPECT_TRUE(node.log.take().empty()) << "nothing that the daemon is told";
}

TEST(LinuxChange, ARepairTellsTheDaemonOfWhichDynamicVlansThePortIsNoMember) {
    LinuxNode node;
    node.kernel.addVlans(kEth1, vlanSet({20}));
    node.start();
    node.enable(kEth0);
    ASSERT_TRUE(node.learn(kEth0, vlanSet({10})));
    node.settle();
    std::string error;
    EXPECT_EQ(node.driver->change(
                  changeOf(SwitchChangeKind::PortRepair, kEth0, 0, vlanSet({10, 20})), error),
              HostStatus::Ok);
    const auto messages = node.log.take();
    ASSERT_EQ(messages.size(), 1U) << "a static one is the kernel's";
    EXPECT_EQ(messages[0].attribute, 65U);
    EXPECT_EQ(messages[0].vid, 10U);
}

TEST(LinuxChange, ARepairOfNoPortIsRefused) {
    LinuxNode node;
    node.start();
    std::string error;
    EXPECT_EQ(node.driver->change(changeOf(SwitchChangeKind::PortRepair, 999), error),
              HostStatus::NoSuchPort);
    EXPECT_EQ(error, "there is no port 999");
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
