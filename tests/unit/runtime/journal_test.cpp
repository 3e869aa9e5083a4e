// SPDX-License-Identifier: MIT
#include "platform/runtime/files/journal.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <string>

#include "platform/model/vlan_ranges.h"
#include "tests/scratch_directory.h"

namespace platform {
namespace {

/// As the journal listens.
Descriptor listenAt(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    EXPECT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return socket;
}

TEST(Journal, ALineHasItsFields) {
    const VlanBitmap vlans = vlanRange(10, 11);
    EXPECT_EQ(journalDatagram({.event = LogEvent::VlansLearnt,
                               .unit = 3,
                               .port = "east",
                               .vlans = &vlans,
                               .text = "east: VLANs 10-11 learnt"}),
              "PRIORITY=5\nSYSLOG_IDENTIFIER=mvrp\nMESSAGE=east: VLANs 10-11 learnt\n"
              "MESSAGE_ID=6a8918c0fff7411e8dbdc3152ec44ed9\nMVRP_EVENT=vlans-learnt\n"
              "MVRP_PORT=east\nMVRP_UNIT=3\nMVRP_VLANS=10-11\nMVRP_VLAN=10\nMVRP_VLAN=11\n");
}

TEST(Journal, AllVlansAreRangesAndSoManyHaveAFieldOfTheirOwn) {
    const VlanBitmap all = vlanRange(kFirstVlan, kLastVlan);
    const std::string datagram =
        journalDatagram({.event = LogEvent::VlansLeft, .vlans = &all, .text = "x"});
    EXPECT_NE(datagram.find("MVRP_VLANS=1-4094\n"), std::string::npos);
    EXPECT_NE(datagram.find("MVRP_VLAN=256\n"), std::string::npos);
    EXPECT_EQ(datagram.find("MVRP_VLAN=257\n"), std::string::npos);
}

TEST(Journal, ADatagramIsSentAndNotWaitedFor) {
    const ScratchDirectory directory;
    const std::string path = directory.path("journal");
    Journal journal(path);
    const LogLine line{.event = LogEvent::LinkUp, .port = "east", .text = "east: link up"};
    EXPECT_FALSE(journal.put(line)) << "nobody listens";
    const Descriptor socket = listenAt(path);
    EXPECT_TRUE(journal.put(line));
    std::array<char, 4096> received{};
    const ssize_t length = recv(socket.get(), received.data(), received.size(), 0);
    ASSERT_GT(length, 0);
    EXPECT_EQ(std::string(received.data(), static_cast<std::size_t>(length)),
              journalDatagram(line));
    bool full = false;
    for (int i = 0; i < 100'000 && !full; i++)
        full = !journal.put(line);
    EXPECT_TRUE(full) << "a journal that reads nothing";
}

}  // namespace
}  // namespace platform
