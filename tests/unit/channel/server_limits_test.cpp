// SPDX-License-Identifier: MIT
//
// What the command server does at its limits: clients that do not read, too many of them.
#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <memory>

#include "tests/unit/channel/server_fixture.h"

namespace platform {
namespace {

constexpr u32 kLargeReply = 60000;

class ServerLimits : public ServerFixture {
  protected:
    ServerLimits() {
        dispatcher_.registerRequest(
            Request::PortList,
            [this](const RequestHeader&, std::span<const u8>, std::vector<u8>& reply) {
                served_++;
                reply.resize(reply.size() + kLargeReply, 7);
                return 0U;
            });
        dispatcher_.registerRequest(
            Request::PortVlans,
            [](const RequestHeader&, std::span<const u8>, std::vector<u8>& reply) {
                reply.resize(reply.size() + kMaxValueBytes + 1000);
                return 0U;
            });
    }

    /// Sends requests until the server takes no more of them.
    static u32 sendUntilFull(const ChannelClient& client) {
        const std::vector<u8> request = requestBytes(static_cast<u32>(Request::PortList), 0, 0, {});
        u32 sent = 0;
        pollfd writable{client.descriptor(), POLLOUT, 0};
        while (poll(&writable, 1, 200) == 1) {
            const ssize_t count = ::send(client.descriptor(), request.data(), request.size(),
                                         MSG_DONTWAIT | MSG_NOSIGNAL);
            if (count < 0)
                break;
            EXPECT_EQ(count, static_cast<ssize_t>(request.size()));
            sent++;
        }
        return sent;
    }

    std::atomic<u32> served_{0};
};

TEST_F(ServerLimits, AClientThatDoesNotReadIsServedNoFurtherAndTheOthersAre) {
    start();
    ChannelClient slow(path_);
    const u32 sent = sendUntilFull(slow);
    const u32 served = served_;
    EXPECT_LT(served, 100U);  // what its socket and kMaxUnsent hold
    EXPECT_GT(sent, served);
    ChannelClient other(path_);
    for (int round = 0; round < 100; round++)
        ASSERT_EQ(other.call(Request::PortFirst, 0, 0).number(), 3U);
    EXPECT_EQ(served_, served);
}

TEST_F(ServerLimits, AClientThatReadsAgainGetsAllItsReplies) {
    start();
    ChannelClient slow(path_);
    const u32 sent = sendUntilFull(slow);
    for (u32 reply = 0; reply < sent; reply++) {
        const auto received = slow.receive();
        ASSERT_TRUE(received);
        ASSERT_EQ(received->value.size(), kLargeReply);
    }
    EXPECT_EQ(served_, sent);
}

TEST_F(ServerLimits, AClientThatGoesAwayWithRepliesWaitingIsForgotten) {
    start();
    {
        const ChannelClient slow(path_);
        sendUntilFull(slow);
    }
    ChannelClient other(path_);
    EXPECT_EQ(other.call(Request::PortFirst, 0, 0).number(), 3U);
}

TEST_F(ServerLimits, AReplyIsCutToTheLargestValue) {
    start();
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::PortVlans, 0, 0).value.size(), kMaxValueBytes);
}

TEST_F(ServerLimits, TheReplyToASnapshotMayBeLonger) {
    dispatcher_.registerRequest(
        Request::Snapshot, [](const RequestHeader&, std::span<const u8>, std::vector<u8>& reply) {
            reply.resize(reply.size() + 8 * kMaxUnsent, 5);
            return 0U;
        });
    start();
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::Snapshot, 0, 0).value, std::vector<u8>(8 * kMaxUnsent, 5));
    EXPECT_EQ(client.call(Request::PortFirst, 0, 0).number(), 3U);
}

TEST_F(ServerLimits, RootAndTheOwnUserFindAPlaceAndTheLongestIdleClientGoes) {
    start();
    std::vector<std::unique_ptr<ChannelClient>> clients;
    for (std::size_t index = 0; index < kMaxClients; index++) {
        clients.push_back(std::make_unique<ChannelClient>(path_));
        ASSERT_EQ(clients.back()->call(Request::PortFirst, 0, 0).number(), 3U);
    }
    EXPECT_EQ(clients[0]->call(Request::PortFirst, 0, 0).number(), 3U);
    ChannelClient extra(path_);
    EXPECT_EQ(extra.call(Request::PortFirst, 0, 0).number(), 3U);
    EXPECT_FALSE(clients[1]->receive());
    EXPECT_EQ(clients[0]->call(Request::PortFirst, 0, 0).number(), 3U);
    EXPECT_EQ(clients[2]->call(Request::PortFirst, 0, 0).number(), 3U);
}

/// Runs `body` as another user and in a group that may use the channel.
template <typename Body>
int asMember(gid_t group, Body body) {
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t kNobody = 65534;
        _exit(setgroups(1, &group) == 0 && setuid(kNobody) == 0 ? body() : 100);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class GroupLimits : public ServerLimits {
  protected:
    static constexpr gid_t kGroup = 12345;

    GroupLimits()
        : grouped_(
              [this](const RequestHeader& header, std::span<const u8> value,
                     std::vector<u8>& reply) { return dispatcher_.dispatch(header, value, reply); },
              CommandAccess{kGroup}) {}
    ~GroupLimits() override {
        grouped_.stop();
        if (runs_.joinable())
            runs_.join();
    }
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root to become another user";
        std::string error;
        ASSERT_TRUE(grouped_.open(path_, error)) << error;
        runs_ = std::thread([this] { grouped_.run(); });
    }

    CommandServer grouped_;
    std::thread runs_;
};

TEST_F(GroupLimits, AMemberTooManyIsTurnedAwayAndAMemberMakesRoomForRoot) {
    std::vector<std::unique_ptr<ChannelClient>> own;
    for (std::size_t index = 1; index < kMaxClients; index++) {
        own.push_back(std::make_unique<ChannelClient>(path_));
        ASSERT_EQ(own.back()->call(Request::PortFirst, 0, 0).number(), 3U);
    }
    const auto ask = [](ChannelClient& client) {
        client.send(requestBytes(static_cast<u32>(Request::PortFirst), 0, 0, {}));
        return client.receive().has_value();
    };
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    std::thread member([&] {
        EXPECT_EQ(asMember(kGroup,
                           [&] {
                               ChannelClient last(path_);
                               ChannelClient extra(path_);
                               if (!ask(last) || ask(extra))
                                   return 1;
                               const char told = 1;
                               if (write(ready[1], &told, 1) != 1)
                                   return 2;
                               return last.receive() ? 3 : 0;
                           }),
                  0);
    });
    char told = 0;
    ASSERT_EQ(read(ready[0], &told, 1), 1);
    ChannelClient root(path_);
    EXPECT_TRUE(ask(root));
    EXPECT_TRUE(ask(*own.front())) << "although it was idle for longer than the member";
    member.join();
    for (const int end : ready)
        close(end);
}

TEST(ServerIdle, AClientThatSaysNothingIsLetGoAndThePeersConnectionStays) {
    const ScratchDirectory directory;
    CommandServer* running = nullptr;
    CommandServer server(
        [&running](const RequestHeader&, std::span<const u8>, std::vector<u8>&) {
            running->keep(running->serving());
            return kStatusOk;
        },
        {}, std::chrono::milliseconds(200));
    running = &server;
    std::string error;
    ASSERT_TRUE(server.open(directory.path("socket"), error)) << error;
    ASSERT_TRUE(server.openForPeer(directory.path("peer"), error, [](u64) {})) << error;
    std::thread thread([&server] { server.run(); });
    ChannelClient peer(directory.path("peer"));
    EXPECT_EQ(peer.call(Request::PortFirst, 0, 0).status, 0U);
    ChannelClient idle(directory.path("socket"));
    ChannelClient idleAtThePeersSocket(directory.path("peer"));
    EXPECT_FALSE(idle.receive());
    EXPECT_FALSE(idleAtThePeersSocket.receive());
    EXPECT_EQ(peer.call(Request::PortFirst, 0, 0).status, 0U);
    server.stop();
    thread.join();
}

TEST(ServerBusy, ALongRequestIsSeenFromOutsideAndAWaitingServerIsNotBusy) {
    const ScratchDirectory directory;
    std::atomic<bool> inside{false};
    std::atomic<bool> go{false};
    CommandServer server(
        [&](const RequestHeader&, std::span<const u8>, std::vector<u8>&) {
            inside = true;
            go.wait(false);
            return kStatusOk;
        },
        {});
    std::string error;
    ASSERT_TRUE(server.open(directory.path("socket"), error)) << error;
    std::thread thread([&server] { server.run(); });
    ChannelClient client(directory.path("socket"));
    client.send(requestBytes(static_cast<u32>(Request::PortFirst), 0, 0, {}));
    while (!inside || server.busyFor() < std::chrono::milliseconds(5))
        std::this_thread::yield();
    go = true;
    go.notify_all();
    EXPECT_TRUE(client.receive());
    while (server.busyFor() != std::chrono::milliseconds(0))
        std::this_thread::yield();
    server.stop();
    thread.join();
}

/// What the request that a descriptor came with can make of it.
TEST(ServerDescriptors, ADescriptorGoesToTheRequestThatItCameWithAndNoOther) {
    const ScratchDirectory directory;
    CommandServer* running = nullptr;
    CommandServer server(
        [&running](const RequestHeader& header, std::span<const u8>, std::vector<u8>& reply) {
            const Descriptor passed = header.unit == 7 ? Descriptor() : running->takeDescriptor();
            reply.push_back(passed.isOpen() ? 1 : 0);
            if (passed.isOpen() && write(passed.get(), "x", 1) != 1)
                reply.push_back(2);
            return kStatusOk;
        },
        {});
    running = &server;
    std::string error;
    ASSERT_TRUE(server.open(directory.path("socket"), error)) << error;
    std::thread thread([&server] { server.run(); });
    ChannelClient client(directory.path("socket"));
    const std::vector<u8> plain = requestBytes(1, 0, 0, {});
    const std::vector<u8> refusing = requestBytes(1, 7, 0, {});
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    client.send(plain);
    client.sendWith(plain, {ends[1]});
    client.send(plain);
    client.sendWith(refusing, {ends[1]});
    client.send(plain);
    client.sendWith(plain, {ends[1], ends[1], ends[1], ends[1], ends[1], ends[1]});
    for (const u8 expected : std::vector<u8>{0, 1, 0, 0, 0, 1}) {
        const auto reply = client.receive();
        ASSERT_TRUE(reply);
        if (reply->value.size() == 1)
            EXPECT_EQ(reply->value[0], expected);
        else
            EXPECT_EQ(reply->value.size(), 1U);
    }
    close(ends[1]);
    // The last end of the pipe is closed: nothing was kept.
    std::array<char, 8> received{};
    EXPECT_EQ(read(ends[0], received.data(), received.size()), 2);
    EXPECT_EQ(read(ends[0], received.data(), received.size()), 0);
    close(ends[0]);
    server.stop();
    thread.join();
}

}  // namespace
}  // namespace platform
