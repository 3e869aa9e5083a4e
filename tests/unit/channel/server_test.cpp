// SPDX-License-Identifier: MIT
//
// The command server over a real socket: framing, order, and what ends a connection.
#include <fstream>

#include <sys/socket.h>

#include <atomic>
#include "platform/contract/sil.h"
#include "tests/unit/channel/server_fixture.h"

namespace platform {
namespace {

using Server = ServerFixture;

TEST_F(Server, ARequestIsAnswered) {
    start();
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::ScalarSet, 0, 1, bytesOf(1)).status, 0U);
    EXPECT_EQ(client.call(Request::ScalarGet, 0, 1).number(), 1U);
}

TEST_F(Server, PipelinedRequestsAreAnsweredInOrder) {
    constexpr u32 kRequests = 2000;
    start();
    ChannelClient client(path_);
    std::thread sender([&client] {
        for (u32 value = 0; value < kRequests; value++) {
            client.send(requestBytes(7, 0, 2, bytesOf(value)));
            client.send(requestBytes(6, 0, 2, {}));
        }
    });
    for (u32 value = 0; value < kRequests; value++) {
        ASSERT_EQ(client.receive()->status, 0U);
        ASSERT_EQ(client.receive()->number(), value);
    }
    sender.join();
}

TEST_F(Server, ARequestMayArriveByteByByte) {
    start();
    ChannelClient client(path_);
    for (const u8 byte : requestBytes(7, 0, 1, bytesOf(5)))
        ASSERT_TRUE(client.send({byte}));
    EXPECT_EQ(client.receive()->status, 0U);
    EXPECT_EQ(client.call(Request::ScalarGet, 0, 1).number(), 5U);
}

TEST_F(Server, AValueOfTheLargestSizeIsTaken) {
    start();
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::ScalarSet, 0, 4, std::vector<u8>(kMaxValueBytes, 7)).status, 0U);
    EXPECT_EQ(fake::daemon().packet.size(), kMaxValueBytes);
}

TEST_F(Server, AnOversizedRequestEndsItsConnectionAfterTheRequestsBeforeItAndNothingElse) {
    start();
    ChannelClient other(path_);
    ChannelClient client(path_);
    std::vector<u8> bytes = requestBytes(6, 0, 1, {});
    const RequestHeader oversized{7, 0, 4, kMaxValueBytes + 1};
    const auto* header = reinterpret_cast<const u8*>(&oversized);
    bytes.insert(bytes.end(), header, header + sizeof oversized);
    client.send(bytes);
    EXPECT_TRUE(client.receive());
    EXPECT_FALSE(client.receive());
    EXPECT_EQ(other.call(Request::PortFirst, 0, 0).number(), 3U);
}

TEST_F(Server, ARequestThatClosesItsOwnSocketIsAnsweredAndNoOtherAfterIt) {
    dispatcher_.registerRequest(
        Request::StandbyTakeOver,
        [this](const RequestHeader&, std::span<const u8>, std::vector<u8>& reply) {
            server_.close(path_);
            reply.push_back(7);
            return kStatusOk;
        });
    start();
    ChannelClient idle(path_);
    EXPECT_EQ(idle.call(Request::PortFirst, 0, 0).number(), 3U);
    ChannelClient client(path_);
    std::vector<u8> bytes = requestBytes(static_cast<u32>(Request::StandbyTakeOver), 0, 0, {});
    const std::vector<u8> next = requestBytes(static_cast<u32>(Request::PortFirst), 0, 0, {});
    bytes.insert(bytes.end(), next.begin(), next.end());
    client.send(bytes);
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->value, std::vector<u8>{7});
    EXPECT_FALSE(client.receive());
    EXPECT_FALSE(idle.receive());
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_F(Server, ThePeersClientsHaveNumbersAndItIsToldWhenTheyAreGone) {
    const std::string second = directory_.path("second");
    std::atomic<u64> asked{0};
    std::atomic<u64> gone{0};
    dispatcher_.registerRequest(Request::StandbyBeat,
                                [&](const RequestHeader&, std::span<const u8>, std::vector<u8>&) {
                                    asked = server_.serving();
                                    return kStatusOk;
                                });
    dispatcher_.registerRequest(Request::StandbyTakeOver,
                                [&](const RequestHeader&, std::span<const u8>, std::vector<u8>&) {
                                    server_.end(asked);
                                    return kStatusOk;
                                });
    std::string error;
    ASSERT_TRUE(server_.openForPeer(second, error, [&](u64 client) { gone = client; })) << error;
    start();
    ChannelClient counted(second);
    EXPECT_EQ(counted.call(Request::StandbyBeat, 0, 0).status, 0U);
    EXPECT_NE(asked, 0U);
    EXPECT_EQ(gone, 0U);
    ChannelClient other(path_);
    EXPECT_EQ(other.call(Request::StandbyTakeOver, 0, 0).status, 0U);
    EXPECT_FALSE(counted.receive());
    // What closes a client comes before the next request of another.
    EXPECT_EQ(other.call(Request::PortFirst, 0, 0).number(), 3U);
    EXPECT_EQ(gone, asked);
}

TEST_F(Server, HalfARequestAtTheEndIsDroppedAndWhatCameBeforeItIsAnswered) {
    start();
    ChannelClient client(path_);
    client.send(requestBytes(1, 0, 0, {}));
    client.send({1, 0, 0});
    client.finish();
    EXPECT_EQ(client.receive()->number(), 3U);
    EXPECT_FALSE(client.receive());
}

TEST_F(Server, AWrongRequestIsAnsweredAndTheConnectionGoesOn) {
    start();
    ChannelClient client(path_);
    EXPECT_EQ(client.call(0, 0, 0).status, 22U);
    EXPECT_EQ(client.call(99, 0, 0).status, 22U);
    EXPECT_EQ(client.call(7, 0, 1, {1, 2, 3}).status, 22U);
    EXPECT_EQ(client.call(999, 0, 0).status, static_cast<u32>(HostStatus::Unsupported));
    EXPECT_EQ(client.call(Request::PortFirst, 0, 0).number(), 3U);
}

TEST_F(Server, GarbageOfAnySizeNeverHurtsAnotherClient) {
    start();
    ChannelClient other(path_);
    u32 seed = 1;
    for (std::size_t size = 1; size < 3000; size += 97) {
        std::vector<u8> garbage(size);
        for (u8& byte : garbage)
            byte = static_cast<u8>((seed = seed * 1664525 + 1013904223) >> 24);
        ChannelClient client(path_);
        client.send(garbage);
        client.finish();
        while (client.receive()) {
        }
        ASSERT_EQ(other.call(Request::PortFirst, 0, 0).number(), 3U);
    }
}

TEST_F(Server, ARequestThatLeavesTheLockHeldDoesNotWedgeTheNext) {
    start();
    testing::internal::CaptureStderr();
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::ScalarSet, 0, fake::kScalarKeepsLock, bytesOf(1)).status,
              fake::kRefused);
    EXPECT_EQ(silTakeSem(fake::daemon().sem, 1000), 0U);
    EXPECT_EQ(silGiveSem(fake::daemon().sem), 0U);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("it was released"), std::string::npos);
}

TEST_F(Server, PostedWorkRunsInTheCommandTask) {
    start();
    std::atomic<bool> done{false};
    std::thread::id ran;
    server_.post([&] {
        ran = std::this_thread::get_id();
        done = true;
    });
    while (!done)
        std::this_thread::yield();
    EXPECT_EQ(ran, thread_.get_id());
}

TEST_F(Server, ASocketThatAnotherServerServesIsNotTakenOver) {
    start();
    CommandServer second([](const auto&, auto, auto&) { return 0U; }, {});
    std::string error;
    EXPECT_FALSE(second.open(path_, error));
    EXPECT_NE(error.find("is served by another process"), std::string::npos) << error;
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::PortFirst, 0, 0).number(), 3U);
}

TEST_F(Server, ASocketThatWasLeftBehindIsReplaced) {
    {
        const Descriptor old(socket(AF_UNIX, SOCK_STREAM, 0));
        std::string error;
        CommandServer gone([](const auto&, auto, auto&) { return 0U; }, {});
        ASSERT_TRUE(gone.open(path_, error)) << error;
    }
    start();
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::PortFirst, 0, 0).number(), 3U);
}

TEST_F(Server, AFileThatIsNoSocketIsLeftAlone) {
    std::ofstream(path_) << "precious";
    std::string error;
    EXPECT_FALSE(server_.open(path_, error));
    EXPECT_NE(error.find("no socket"), std::string::npos) << error;
    std::string text;
    std::ifstream(path_) >> text;
    EXPECT_EQ(text, "precious");
}

TEST_F(Server, APathThatNoSocketCanHaveIsRefused) {
    std::string error;
    EXPECT_FALSE(server_.open(directory_.path(std::string(200, 'x')), error));
    EXPECT_NE(error.find("1 to 107 bytes"), std::string::npos) << error;
    EXPECT_FALSE(server_.open("/nonexistent/socket", error));
    EXPECT_NE(error.find("No such file"), std::string::npos) << error;
}

}  // namespace
}  // namespace platform
