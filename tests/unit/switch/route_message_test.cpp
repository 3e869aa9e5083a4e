// SPDX-License-Identifier: MIT
//
// The messages byte by byte, in the machine's byte order.
#include "platform/switch/route_message.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/contract/qor_if.h"

namespace platform {
namespace {

u32 wordAt(const std::vector<u8>& bytes, std::size_t at) {
    u32 value = 0;
    std::memcpy(&value, bytes.data() + at, 4);
    return value;
}

u32 halfAt(const std::vector<u8>& bytes, std::size_t at) {
    u16 value = 0;
    std::memcpy(&value, bytes.data() + at, 2);
    return value;
}

class RouteMessages : public testing::Test {
  protected:
    const std::vector<u8>& only() {
        EXPECT_EQ(batch_.datagrams().size(), 1U);
        return batch_.datagrams().at(0).bytes;
    }
    RouteGroup group() { return batch_.datagrams().at(0).group; }
    RouteBatch batch_;
};

TEST_F(RouteMessages, CreatedVlan) {
    batch_.linkCreated(kVlanInterfaceBase + 10);
    EXPECT_EQ(only().size(), 48U);
    EXPECT_EQ(wordAt(only(), 0), 48U);
    EXPECT_EQ(halfAt(only(), 4), 0x20U);
    EXPECT_EQ(wordAt(only(), 24 + 4), 0x0100000AU);
    EXPECT_EQ(wordAt(only(), 24 + 12), 0xFFFFFFFFU);
    EXPECT_EQ(group(), RouteGroup::Vlan);
}

TEST_F(RouteMessages, DeletedPort) {
    batch_.linkDeleted(3);
    EXPECT_EQ(only().size(), 48U);
    EXPECT_EQ(halfAt(only(), 4), 0x21U);
    EXPECT_EQ(wordAt(only(), 24 + 4), 3U);
    EXPECT_EQ(group(), RouteGroup::Link);
}

TEST_F(RouteMessages, LinkStateIsOneByte) {
    batch_.linkState(3, true);
    EXPECT_EQ(only().size(), 56U);
    EXPECT_EQ(halfAt(only(), 4), 0x20U);
    EXPECT_NE(wordAt(only(), 24 + 12), 0xFFFFFFFFU);
    EXPECT_EQ(halfAt(only(), 48), 5U);
    EXPECT_EQ(halfAt(only(), 50), 16U);
    EXPECT_EQ(only()[52], 1);
}

TEST_F(RouteMessages, MemberCarriesTheVlanInTheBody) {
    batch_.memberAdded(10, 3);
    EXPECT_EQ(wordAt(only(), 24 + 4), 0x0100000AU);
    EXPECT_EQ(wordAt(only(), 24 + 20), 10U);
    EXPECT_EQ(halfAt(only(), 48), 8U);
    EXPECT_EQ(halfAt(only(), 50), 64U);
    EXPECT_EQ(wordAt(only(), 52), 3U);
}

TEST_F(RouteMessages, Reset) {
    batch_.portReset(3);
    EXPECT_EQ(halfAt(only(), 4), 0x144U);
    EXPECT_EQ(wordAt(only(), 24 + 4), 3U);
    EXPECT_EQ(group(), RouteGroup::System);
}

TEST_F(RouteMessages, TunnelMac) {
    batch_.tunnelMac(3, 2, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(halfAt(only(), 4), 0x185U);
    EXPECT_EQ(wordAt(only(), 24), 3U);
    EXPECT_EQ(only()[24 + 5], 2);
    EXPECT_EQ(std::memcmp(only().data() + 24 + 6, "\1\2\3\4\5\6", 6), 0);
}

TEST_F(RouteMessages, SeveralShareADatagramInOrder) {
    batch_.linkState(3, false);
    batch_.linkState(3, true);
    EXPECT_EQ(only().size(), 112U);
    EXPECT_EQ(only()[52], 0);
    EXPECT_EQ(only()[56 + 52], 1);
}

TEST_F(RouteMessages, AnotherGroupBeginsAnotherDatagram) {
    batch_.linkState(3, false);
    batch_.portReset(3);
    batch_.linkState(3, false);
    EXPECT_EQ(batch_.datagrams().size(), 3U);
}

TEST_F(RouteMessages, DatagramsFitOneReadOfTheDaemon) {
    for (u32 vid = 1; vid <= 4094; ++vid)
        batch_.memberAdded(vid, 3);
    std::size_t bytes = 0;
    for (const RouteDatagram& datagram : batch_.datagrams()) {
        EXPECT_LE(datagram.bytes.size(), kLongestRouteDatagram);
        bytes += datagram.bytes.size();
    }
    EXPECT_EQ(bytes, 4094U * 56);
}

}  // namespace
}  // namespace platform
