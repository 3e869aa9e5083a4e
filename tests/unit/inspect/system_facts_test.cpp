// SPDX-License-Identifier: MIT
//
// Reading of what the system says about others: packet sockets and whose they are, signs of
// network managers, interfaces for VLANs.
#include "platform/inspect/system_facts.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/if_vlan.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "platform/inspect/vlan_devices.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPacketSockets =
    "sk               RefCnt Type Proto  Iface R Rmem   User   Inode\n"
    "0000000000000000 3      3    88f5   2     1 0      0      12345\n"
    "ffff888003c5a000 3      2    0003   0     1 0      1000   678\n"
    "broken\n";

TEST(PacketSockets, AreReadFromTheKernelsList) {
    const auto listeners = parsePacketSockets(kPacketSockets);
    ASSERT_EQ(listeners.size(), 2U);
    EXPECT_EQ(listeners[0], (PacketListener{2, 0x88F5, 12345, 0, ""}));
    EXPECT_EQ(listeners[1], (PacketListener{0, 3, 678, 0, ""}));
    EXPECT_TRUE(parsePacketSockets("").empty());
}

class Files : public testing::Test {
  protected:
    void SetUp() override { fs::create_directories(root_); }
    void TearDown() override { fs::remove_all(root_); }

    const std::string root_ = testing::TempDir() + "/inspect." + std::to_string(getpid());
};

TEST_F(Files, TellWhichProcessASocketBelongsTo) {
    fs::create_directories(root_ + "/77/fd");
    fs::create_directories(root_ + "/self/fd");
    std::ofstream(root_ + "/77/comm") << "otherd\n";
    fs::create_symlink("socket:[12345]", root_ + "/77/fd/3");
    fs::create_symlink("/dev/null", root_ + "/77/fd/4");
    auto listeners = parsePacketSockets(kPacketSockets);
    findOwners(listeners, root_);
    EXPECT_EQ(listeners[0].process, 77);
    EXPECT_EQ(listeners[0].program, "otherd");
    EXPECT_EQ(listeners[1].process, 0);
}

TEST_F(Files, TellWhichNetworkManagersAreAtWork) {
    EXPECT_TRUE(findManagers(root_, {"br0"}).empty());
    fs::create_directories(root_ + "/proc/321");
    std::ofstream(root_ + "/proc/321/comm") << "systemd-network\n";
    const auto managers = findManagers(root_, {"br0"});
    ASSERT_EQ(managers.size(), 1U);
    EXPECT_EQ(managers[0].name, "systemd-networkd");
    EXPECT_EQ(managers[0].sign, "process 321");
}

TEST_F(Files, NameNoNetworkManagerThatIsOnlyInstalledOrHasStopped) {
    fs::create_directories(root_ + "/run/systemd/netif/links");
    fs::create_directories(root_ + "/run/NetworkManager/devices");
    fs::create_directories(root_ + "/usr/share/ifupdown2");
    fs::create_directories(root_ + "/run/network");
    std::ofstream(root_ + "/run/network/ifstate") << "lo=lo\n";
    EXPECT_TRUE(findManagers(root_, {"br0"}).empty());
}

TEST_F(Files, NameTheNetworkManagerThatHasConfiguredTheBridge) {
    fs::create_directories(root_ + "/run/network");
    std::ofstream(root_ + "/run/network/ifstate") << "lo=lo\nbr0=br0\n";
    std::ofstream(root_ + "/run/network/ifstatenew", std::ios::binary) << "\x80\x04\x8c\x03"
                                                                          "br0\x94";
    const auto managers = findManagers(root_, {"br0", "eth1"});
    ASSERT_EQ(managers.size(), 2U);
    EXPECT_EQ(managers[0].name, "ifupdown2");
    EXPECT_EQ(managers[1].name, "ifupdown");
}

TEST_F(Files, OfTheConfigurationAreReadWithTheirMistakes) {
    const std::string file = root_ + "/mvrp.toml";
    EXPECT_FALSE(collectSystemFacts(file, root_).configThere);
    std::ofstream(file) << "[switch]\ndriver = \"linux\"\nbridge = \"nosuch0\"\n";
    std::ofstream(root_ + "/mvrp-nosuch0.ledger") << "";
    const SystemFacts right = collectSystemFacts(file, root_);
    ASSERT_TRUE(right.config);
    EXPECT_EQ(right.config->network.linuxBridge.bridge, "nosuch0");
    EXPECT_TRUE(right.ledgerThere);
    std::ofstream(file) << "[switch]\ndriver = \"hard\"\n";
    const SystemFacts wrong = collectSystemFacts(file, root_);
    EXPECT_FALSE(wrong.config);
    ASSERT_EQ(wrong.configProblems.size(), 1U);
    EXPECT_NE(wrong.configProblems[0].find(":2:"), std::string::npos);
}

TEST_F(Files, OfALedgerAreReadBesideTheDaemonThatKeepsIt) {
    const std::string file = root_ + "/mvrp.toml";
    std::ofstream(file) << "[switch]\ndriver = \"linux\"\nbridge = \"nosuch0\"\n";
    Ledger ledger;
    std::string error;
    ASSERT_TRUE(ledger.open(root_ + "/mvrp-nosuch0.ledger", currentScope("nosuch0", 0), error));
    ledger.prepare(7, "eth0");
    ledger.store(7, vlanRange(10, 12));
    SystemFacts facts = collectSystemFacts(file, root_);
    EXPECT_FALSE(facts.ledgerForeign);
    ASSERT_EQ(facts.ledger.size(), 1U);
    EXPECT_EQ(facts.ledger[0].name, "eth0");
    EXPECT_EQ(facts.ledger[0].added, vlanRange(10, 12));
    ledger.restart(currentScope("nosuch0", 99));
    facts = collectSystemFacts(file, root_);
    EXPECT_TRUE(facts.ledgerForeign);
    EXPECT_TRUE(facts.ledger.empty());
}

TEST(SteadyRecords, AreWhatTwoLooksAgreeUpon) {
    const std::vector<LedgerRecord> before = {{5, "a", vlanRange(10, 12)}, {6, "b", {}}};
    const std::vector<LedgerRecord> after = {{5, "a", vlanRange(11, 14)}, {7, "c", {}}};
    const std::vector<LedgerRecord> steady = steadyRecords(before, after);
    ASSERT_EQ(steady.size(), 1U);
    EXPECT_EQ(steady[0].index, 5U);
    EXPECT_EQ(steady[0].added, vlanRange(11, 12));
}

/// A link message of an interface for VLAN 10 on interface 2, with these flags.
std::vector<u8> vlanMessage(u32 flags) {
    alignas(nlmsghdr) std::array<char, 512> buffer{};
    nlmsghdr* message = mnl_nlmsg_put_header(buffer.data());
    auto* record = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(message, sizeof(ifinfomsg)));
    record->ifi_index = 20;
    mnl_attr_put_strz(message, IFLA_IFNAME, "v10");
    mnl_attr_put_u32(message, IFLA_LINK, 2);
    nlattr* info = mnl_attr_nest_start(message, IFLA_LINKINFO);
    mnl_attr_put_strz(message, IFLA_INFO_KIND, "vlan");
    nlattr* data = mnl_attr_nest_start(message, IFLA_INFO_DATA);
    mnl_attr_put_u16(message, IFLA_VLAN_ID, 10);
    const ifla_vlan_flags value = {flags, ~u32{0}};
    mnl_attr_put(message, IFLA_VLAN_FLAGS, sizeof value, &value);
    mnl_attr_nest_end(message, data);
    mnl_attr_nest_end(message, info);
    const auto* begin = static_cast<const u8*>(mnl_nlmsg_get_payload(message));
    return {begin, begin + mnl_nlmsg_get_payload_len(message)};
}

TEST(VlanDevices, SayWhichProtocolTheKernelDeclaresThemBy) {
    EXPECT_EQ(readVlanDevice(vlanMessage(VLAN_FLAG_MVRP)),
              (VlanDevice{20, "v10", 2, 10, true, false}));
    EXPECT_EQ(readVlanDevice(vlanMessage(VLAN_FLAG_GVRP | VLAN_FLAG_REORDER_HDR)),
              (VlanDevice{20, "v10", 2, 10, false, true}));
}

TEST(VlanDevices, AreNotSeenInMessagesThatAreCutShort) {
    const std::vector<u8> whole = vlanMessage(VLAN_FLAG_MVRP);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        // In memory of its own, so that a read beyond it is seen by the sanitizers.
        const std::vector<u8> cut(whole.begin(), whole.begin() + static_cast<long>(length));
        const auto device = readVlanDevice(cut);
        EXPECT_FALSE(device && device->mvrp) << length;
    }
}

}  // namespace
}  // namespace platform
