// SPDX-License-Identifier: MIT
//
// The contract's socket calls as the daemon makes them.
#include "platform/net/sockets/socket_layer.h"

#include <gtest/gtest.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/scratch_directory.h"
#include "tests/unit/net/sockets_harness.h"

namespace platform {
namespace {

TEST_F(SocketLayerTest, UnknownSocketsAreRefused) {
    EXPECT_EQ(qor_socket(kQorFamilyPacket, kQorTypeRaw, 0x0800), -1);
    EXPECT_EQ(errno, EPROTONOSUPPORT);
    EXPECT_EQ(qor_socket(kQorFamilyRoute, kQorTypeStream, 0), -1);
    EXPECT_EQ(qor_socket(2, kQorTypeStream, 0), -1);
}

TEST_F(SocketLayerTest, TakesTheOptionsOfTheDaemonsStart) {
    EXPECT_EQ(setWord(mvrp_, kQorLevelSocket, kQorOptionOwner, 32), 0);
    EXPECT_EQ(setWord(mvrp_, kQorLevelPacket, kQorOptionPacketInfo, 1), 0);
    EXPECT_EQ(setWord(gvrp_, kQorLevelSocket, kQorOptionReceiveBuffer, 524288), 0);
    const QorRouteAddress address = {16, 0, 0, 0};
    EXPECT_EQ(qor_bind(route_, &address, sizeof address), 0);
    for (const u32 group : {34U, 33U, 42U, 1U, 85U})
        EXPECT_EQ(setWord(route_, kQorLevelRoute, kQorOptionAddMembership, group), 0);
    EXPECT_EQ(setWord(route_, kQorLevelSocket, kQorOptionOwner, 9), 0);
    EXPECT_EQ(setWord(route_, kQorLevelSocket, kQorOptionReceiveBuffer, 102400), 0);
    makeNonBlocking(route_);
}

TEST_F(SocketLayerTest, OptionsOfOtherSocketsOrLengthsAreRefused) {
    EXPECT_EQ(setWord(mvrp_, kQorLevelRoute, kQorOptionAddMembership, 1), -1);
    EXPECT_EQ(setWord(route_, kQorLevelPacket, kQorOptionPacketInfo, 1), -1);
    EXPECT_EQ(setWord(mvrp_, kQorLevelSocket, 999, 1), -1);
    EXPECT_EQ(errno, ENOPROTOOPT);
    const u8 byte = 1;
    EXPECT_EQ(qor_setsockopt(mvrp_, kQorLevelSocket, kQorOptionOwner, &byte, 1), -1);
    EXPECT_EQ(qor_setsockopt(mvrp_, kQorLevelSocket, kQorOptionOwner, nullptr, 4), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(SocketLayerTest, PlatformOptionsNeverReachTheHostsKernel) {
    const int local = qor_socket(kQorFamilyLocal, kQorTypeStream, 0);
    ASSERT_GE(local, 0);
    EXPECT_EQ(setWord(local, kQorLevelSocket, kQorOptionOwner, 1), -1);
    EXPECT_EQ(setWord(local, kQorLevelRoute, kQorOptionAddMembership, 1), -1);
    EXPECT_EQ(setWord(local, kQorLevelPacket, kQorOptionPacketInfo, 1), -1);
    qor_close(local);
}

TEST_F(SocketLayerTest, ReceivedFrameComesWithItsPortAndPacketInformation) {
    setWord(mvrp_, kQorLevelPacket, kQorOptionPacketInfo, 1);
    ASSERT_EQ(layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame), Delivery::Delivered);
    std::array<u8, 3840> buffer{};
    std::array<u8, 128> control{};
    QorLinkAddress from{};
    iovec part = {buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ASSERT_EQ(qor_recvmsg(mvrp_, &message, 0), static_cast<ssize_t>(kFrame.size()));
    EXPECT_TRUE(std::ranges::equal(kFrame, std::span(buffer).first(kFrame.size())));
    EXPECT_EQ(from.family, 17);
    EXPECT_EQ(from.protocol, 0x88F5);
    EXPECT_EQ(from.interfaceIndex, 3);
    EXPECT_EQ(from.addressLength, 6);
    EXPECT_EQ(from.address[5], 7);
    QorControlHeader item{};
    std::memcpy(&item, control.data(), sizeof item);
    EXPECT_EQ(item.length, 76U);
    EXPECT_EQ(item.level, 263);
    EXPECT_EQ(item.type, 20);
    EXPECT_EQ(message.msg_controllen, 76U);
    const u8* info = control.data() + sizeof item;
    EXPECT_EQ(info[16], 22);
    EXPECT_EQ(info[56], 0x01);
    EXPECT_EQ(info[61], 0x21);
}

TEST_F(SocketLayerTest, WithoutThePacketInformationOptionThereIsNone) {
    layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame);
    std::array<u8, 64> buffer{};
    std::array<u8, 128> control{};
    iovec part = {buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ASSERT_EQ(qor_recvmsg(mvrp_, &message, 0), static_cast<ssize_t>(kFrame.size()));
    EXPECT_EQ(message.msg_controllen, 0U);
}

TEST_F(SocketLayerTest, FramesReachTheSocketOfTheirProtocol) {
    layer_.deliver(SocketKind::Gvrp, groupMeta(), kFrame);
    EXPECT_EQ(waiting(mvrp_), 0);
    EXPECT_EQ(waiting(gvrp_), static_cast<s32>(kFrame.size()));
    EXPECT_EQ(waiting(route_), 0);
}

TEST_F(SocketLayerTest, WithoutASocketNothingIsDelivered) {
    qor_close(mvrp_);
    EXPECT_EQ(layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame), Delivery::NoSocket);
}

TEST_F(SocketLayerTest, EmptyNonBlockingSocketAnswersAtOnce) {
    makeNonBlocking(route_);
    u8 byte = 0;
    EXPECT_EQ(qor_recv(route_, &byte, 1, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(SocketLayerTest, BlockingReceiveWaitsForAFrame) {
    std::thread later([this] { layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame); });
    std::array<u8, 64> buffer{};
    EXPECT_EQ(qor_recv(mvrp_, buffer.data(), buffer.size(), 0),
              static_cast<ssize_t>(kFrame.size()));
    later.join();
}

TEST_F(SocketLayerTest, SelectNamesTheReadySocketsOnly) {
    fd_set read;
    EXPECT_EQ(waitForAny(read, 0), 0);
    EXPECT_FALSE(FD_ISSET(mvrp_, &read));
    layer_.deliver(SocketKind::Gvrp, groupMeta(), kFrame);
    EXPECT_EQ(waitForAny(read, 60'000'000 % 1'000'000), 1);
    EXPECT_TRUE(FD_ISSET(gvrp_, &read));
    EXPECT_FALSE(FD_ISSET(mvrp_, &read));
    layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame);
    EXPECT_EQ(waitForAny(read, 0), 2);
}

TEST_F(SocketLayerTest, SelectWakesUpForAFrameThatComesLater) {
    std::thread later([this] { layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame); });
    fd_set read;
    FD_ZERO(&read);
    FD_SET(mvrp_, &read);
    EXPECT_EQ(qor_select(mvrp_ + 1, &read, nullptr, nullptr, nullptr), 1);
    later.join();
}

TEST_F(SocketLayerTest, RouteMessagesReachSocketsThatJoinedTheirGroup) {
    RouteBatch batch;
    batch.linkState(3, false);
    batch.deliverTo(layer_);
    EXPECT_EQ(waiting(route_), 0);
    setWord(route_, kQorLevelRoute, kQorOptionAddMembership, 1);
    batch.deliverTo(layer_);
    EXPECT_EQ(waiting(route_), 56);
    std::array<u8, 3840> buffer{};
    QorRouteAddress from{};
    socklen_t length = sizeof from;
    EXPECT_EQ(qor_recvfrom(route_, buffer.data(), buffer.size(), 0, &from, &length), 56);
    EXPECT_EQ(from.family, 16);
    EXPECT_EQ(length, 12U);
}

TEST_F(SocketLayerTest, LostNotificationsAreCounted) {
    setWord(route_, kQorLevelRoute, kQorOptionAddMembership, 1);
    RouteBatch batch;
    batch.linkState(3, false);
    for (int i = 0; i < 100'000 && layer_.lostNotifications() == 0; ++i)
        batch.deliverTo(layer_);
    EXPECT_EQ(layer_.lostNotifications(), 1U);
    EXPECT_GE(waiting(route_), 512 * 56);
}

TEST_F(SocketLayerTest, SendHandsTheGatheredFrameToThePort) {
    QorLinkAddress to{};
    to.family = 17;
    to.interfaceIndex = 3;
    std::array<u8, 4> header = {1, 2, 3, 4};
    std::array<u8, 5> body = {5, 6, 7, 8, 9};
    std::array<iovec, 2> parts = {{{header.data(), header.size()}, {body.data(), body.size()}}};
    msghdr message{};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    EXPECT_EQ(qor_sendmsg(mvrp_, &message, 0), 9);
    EXPECT_EQ(transmitter_.lastUnit, 3U);
    EXPECT_EQ(transmitter_.lastFrame, kFrame);
    transmitter_.result = ENOBUFS;
    EXPECT_EQ(qor_sendmsg(mvrp_, &message, 0), -1);
    EXPECT_EQ(errno, ENOBUFS);
    std::vector<u8> large(4000);
    parts[1] = {large.data(), large.size()};
    EXPECT_EQ(qor_sendmsg(mvrp_, &message, 0), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    message.msg_name = nullptr;
    EXPECT_EQ(qor_sendmsg(mvrp_, &message, 0), -1);
}

// --- Receive matches ---

QorReceiveMatch portMatch(u32 unit) {
    QorReceiveMatch match{};
    match.interfaceIndex = unit;
    match.kind = 1;
    match.operation = 2;
    match.length = 28;
    std::memcpy(match.value, &unit, sizeof unit);
    return match;
}

QorReceiveMatch macMatch(u32 unit, std::array<u8, 6> mac) {
    QorReceiveMatch match{};
    match.interfaceIndex = unit;
    match.kind = 2;
    match.operation = 5;
    match.length = 28;
    std::ranges::copy(mac, match.value);
    return match;
}

class ReceiveMatches : public SocketLayerTest {
  protected:
    static int set(int socket, int option, const QorReceiveMatch& match) {
        return qor_setsockopt(socket, kQorLevelSocket, option, &match, sizeof match);
    }
    Delivery offer(SocketKind kind, u32 unit) {
        FrameMeta meta = groupMeta();
        meta.unit = unit;
        return layer_.deliver(kind, meta, kFrame);
    }
    static constexpr std::array<u8, 6> kGroup = {0x01, 0x80, 0xC2, 0, 0, 0x21};
};

TEST_F(ReceiveMatches, PairTakesTheFramesOfItsPortUntilItIsRemoved) {
    ASSERT_EQ(set(mvrp_, kQorOptionMatchAdd, portMatch(3)), 0);
    EXPECT_EQ(offer(SocketKind::Mvrp, 3), Delivery::Delivered) << "half a pair takes nothing";
    ASSERT_EQ(set(mvrp_, kQorOptionMatchAdd, macMatch(3, kGroup)), 0);
    EXPECT_EQ(offer(SocketKind::Mvrp, 3), Delivery::Tunnel);
    EXPECT_EQ(offer(SocketKind::Mvrp, 5), Delivery::Delivered);
    EXPECT_EQ(offer(SocketKind::Gvrp, 3), Delivery::Delivered);
    ASSERT_EQ(set(mvrp_, kQorOptionMatchRemove, portMatch(3)), 0);
    ASSERT_EQ(set(mvrp_, kQorOptionMatchRemove, macMatch(3, kGroup)), 0);
    EXPECT_EQ(offer(SocketKind::Mvrp, 3), Delivery::Delivered);
}

TEST_F(ReceiveMatches, OtherAddressesAreNotTaken) {
    set(gvrp_, kQorOptionMatchAdd, portMatch(3));
    set(gvrp_, kQorOptionMatchAdd, macMatch(3, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(offer(SocketKind::Gvrp, 3), Delivery::Delivered);
    set(gvrp_, kQorOptionMatchAdd, macMatch(3, kGroup));
    EXPECT_EQ(offer(SocketKind::Gvrp, 3), Delivery::Tunnel);
}

TEST_F(ReceiveMatches, AddingTwiceIsRemovedOnce) {
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(set(mvrp_, kQorOptionMatchAdd, portMatch(3)), 0);
        ASSERT_EQ(set(mvrp_, kQorOptionMatchAdd, macMatch(3, kGroup)), 0);
    }
    ASSERT_EQ(set(mvrp_, kQorOptionMatchRemove, portMatch(3)), 0);
    EXPECT_EQ(offer(SocketKind::Mvrp, 3), Delivery::Delivered);
    EXPECT_EQ(set(mvrp_, kQorOptionMatchRemove, portMatch(3)), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ReceiveMatches, MalformedRecordsAreRefused) {
    QorReceiveMatch match = portMatch(3);
    match.length = 27;
    EXPECT_EQ(set(mvrp_, kQorOptionMatchAdd, match), -1);
    match = portMatch(3);
    match.kind = 3;
    EXPECT_EQ(set(mvrp_, kQorOptionMatchAdd, match), -1);
    match = portMatch(3);
    EXPECT_EQ(qor_setsockopt(mvrp_, kQorLevelSocket, kQorOptionMatchAdd, &match, 27), -1);
    EXPECT_EQ(set(route_, kQorOptionMatchAdd, match), -1);
}

// --- Local sockets ---

TEST_F(SocketLayerTest, LocalSocketsLiveInTheRuntimeDirectory) {
    const ScratchDirectory directory;
    setenv("MVRP_RUNTIME_DIR", directory.path().c_str(), 1);
    // As the daemon writes it: a 106-byte address.
    struct {
        u16 family = 1;
        char path[104] = "/tmp/net_test_dbg.socket";
    } address;
    static_assert(sizeof address == 106);
    for (int round = 0; round < 2; ++round) {
        const int listening = qor_socket(kQorFamilyLocal, kQorTypeStream, 0);
        ASSERT_GE(listening, 0);
        EXPECT_EQ(qor_bind(listening, &address, sizeof address), 0)
            << "round " << round << ": a stale socket must not be in the way";
        EXPECT_EQ(qor_listen(listening, 10), 0);
        sockaddr_un there{};
        there.sun_family = AF_UNIX;
        const std::string path = directory.path("net_test_dbg.socket");
        path.copy(there.sun_path, sizeof there.sun_path - 1);
        const int client = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(connect(client, reinterpret_cast<sockaddr*>(&there), sizeof there), 0);
        const int accepted = qor_accept(listening, nullptr, nullptr);
        ASSERT_GE(accepted, 0);
        ASSERT_EQ(write(client, "word", 4), 4);
        char word[4] = {};
        EXPECT_EQ(qor_recv(accepted, word, 4, 0), 4);
        EXPECT_EQ(std::memcmp(word, "word", 4), 0);
        qor_close(accepted);
        qor_close(listening);
        ::close(client);
    }
    unsetenv("MVRP_RUNTIME_DIR");
}

TEST_F(SocketLayerTest, SelectWithTooManyDescriptorsIsRefused) {
    fd_set read;
    FD_ZERO(&read);
    for (int descriptor = 0; descriptor < 100; ++descriptor)
        FD_SET(descriptor, &read);
    timeval timeout{};
    EXPECT_EQ(qor_select(100, &read, nullptr, nullptr, &timeout), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(SocketLayerAbsent, EveryCallFails) {
    EXPECT_EQ(qor_socket(kQorFamilyPacket, kQorTypeRaw, kQorProtocolMvrp), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(SocketLayerTest, AClosedSocketTellsNothingOfWhatWaitedThere) {
    s32 waiting = 0;
    layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame);
    ASSERT_EQ(qor_ioctl(mvrp_, kQorIoctlBytesWaiting, &waiting), 0);
    EXPECT_EQ(waiting, 9);
    const int number = mvrp_;
    qor_close(mvrp_);
    EXPECT_EQ(qor_ioctl(number, kQorIoctlBytesWaiting, &waiting), -1);
    mvrp_ = qor_socket(kQorFamilyPacket, kQorTypeRaw, kQorProtocolMvrp);
    ASSERT_EQ(mvrp_, number);
    ASSERT_EQ(qor_ioctl(mvrp_, kQorIoctlBytesWaiting, &waiting), 0);
    EXPECT_EQ(waiting, 0);
}

}  // namespace
}  // namespace platform
