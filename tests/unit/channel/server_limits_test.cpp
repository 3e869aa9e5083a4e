// SPDX-License-Identifier: MIT
//
// What the command server does at its limits: clients that do not read, too many of them.
#include <poll.h>
#include <sys/socket.h>

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

TEST_F(ServerLimits, OneClientTooManyIsTurnedAwayUntilAnotherLeaves) {
    start();
    std::vector<std::unique_ptr<ChannelClient>> clients;
    for (std::size_t index = 0; index < kMaxClients; index++) {
        clients.push_back(std::make_unique<ChannelClient>(path_));
        ASSERT_EQ(clients.back()->call(Request::PortFirst, 0, 0).number(), 3U);
    }
    {
        ChannelClient extra(path_);
        extra.send(requestBytes(static_cast<u32>(Request::PortFirst), 0, 0, {}));
        EXPECT_FALSE(extra.receive());
    }
    EXPECT_EQ(clients.front()->call(Request::PortFirst, 0, 0).number(), 3U);
    clients.front()->finish();
    EXPECT_FALSE(clients.front()->receive());
    ChannelClient next(path_);
    EXPECT_EQ(next.call(Request::PortFirst, 0, 0).number(), 3U);
}

}  // namespace
}  // namespace platform
