// SPDX-License-Identifier: MIT
#include "cli/client/client.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/asleep.h"
#include "tests/scratch_directory.h"
#include "tests/unit/cli/fake_server.h"

namespace {

using cli::Client;
using cli::ConnectionError;
using cli::Reply;
using cli::Request;
using cli_test::Arrived;
using cli_test::FakeServer;

/// The text of the ConnectionError that `action` throws; empty when it throws none.
template <typename Action>
std::string connectionError(Action action) {
    try {
        action();
    } catch (const ConnectionError& error) {
        return error.what();
    }
    return "";
}

std::vector<std::byte> bytes(std::size_t count, int value) {
    return std::vector<std::byte>(count, static_cast<std::byte>(value));
}

TEST(Client, SendsTheHeaderAndTheValueAndReturnsTheReply) {
    Arrived arrived{};
    {
        FakeServer server([&arrived](FakeServer& s) {
            s.next(arrived);
            s.reply(22, bytes(3, 7));
        });
        Client client(server.path());
        const Reply reply = client.exchange({platform::Request::PortSet, 5, 2, bytes(4, 1)});
        EXPECT_EQ(reply.status, 22U);
        EXPECT_EQ(reply.value, bytes(3, 7));
    }
    EXPECT_EQ(arrived.header.request, 4U);
    EXPECT_EQ(arrived.header.unit, 5U);
    EXPECT_EQ(arrived.header.attribute, 2U);
    EXPECT_EQ(arrived.value, bytes(4, 1));
}

TEST(Client, ReturnsManyRepliesInTheOrderOfTheirRequests) {
    constexpr u32 kCount = 1000;
    FakeServer server([](FakeServer& s) {
        for (Arrived request; s.next(request);)
            s.replyRecord(request.header.unit);
    });
    Client client(server.path());
    std::vector<Request> requests;
    for (u32 unit = 0; unit < kCount; ++unit)
        requests.push_back({platform::Request::PortGet, unit, 1, {}});
    const std::vector<Reply> replies = client.exchange(requests);
    ASSERT_EQ(replies.size(), kCount);
    for (u32 unit = 0; unit < kCount; ++unit) {
        u32 value = 0;
        ASSERT_EQ(replies[unit].value.size(), sizeof(value));
        std::memcpy(&value, replies[unit].value.data(), sizeof(value));
        EXPECT_EQ(value, unit);
    }
}

TEST(Client, LeavesNoMoreThanItsLimitOfRequestsUnanswered) {
    std::size_t atFirst = 0;
    std::size_t afterOneReply = 0;
    FakeServer server([&](FakeServer& s) {
        // A client that waits, on the main thread, has sent what it wanted to send.
        const auto settle = [&s](std::size_t wanted) {
            awaitCondition([&] { return s.waiting() >= wanted && isAsleep(getpid()); });
            return s.waiting() / sizeof(platform::RequestHeader);
        };
        atFirst = settle(Client::kMaxInFlight * sizeof(platform::RequestHeader));
        s.reply(0);
        afterOneReply = settle((Client::kMaxInFlight + 1) * sizeof(platform::RequestHeader));
        Arrived request{};
        s.next(request);
        while (s.next(request))
            s.reply(0);
    });
    {
        Client client(server.path());
        const std::vector<Request> requests(200, Request{platform::Request::PortFirst});
        EXPECT_EQ(client.exchange(requests).size(), requests.size());
    }
    EXPECT_EQ(atFirst, Client::kMaxInFlight);
    EXPECT_EQ(afterOneReply, Client::kMaxInFlight + 1);
}

TEST(Client, DoesNotLockUpWhenBothSidesHaveMuchToSay) {
    constexpr std::size_t kCount = 64;
    FakeServer server([](FakeServer& s) {
        for (Arrived request; s.next(request);)
            s.reply(0, bytes(platform::kMaxValueBytes, 9));
    });
    Client client(server.path());
    const std::vector<Request> requests(
        kCount, Request{platform::Request::ScalarSet, 0, 4, bytes(platform::kMaxValueBytes, 1)});
    const std::vector<Reply> replies = client.exchange(requests);
    ASSERT_EQ(replies.size(), kCount);
    EXPECT_EQ(replies.back().value.size(), platform::kMaxValueBytes);
}

TEST(Client, PutsAReplyTogetherThatArrivesInPieces) {
    FakeServer server([](FakeServer& s) {
        Arrived request{};
        s.next(request);
        const platform::ReplyHeader header = {0, 2};
        const auto headerBytes = std::as_bytes(std::span(&header, 1));
        s.sendBytes(headerBytes.first(3));
        EXPECT_TRUE(awaitCondition([&s] { return s.isRead(); }));
        s.sendBytes(headerBytes.subspan(3));
        s.sendBytes(bytes(1, 5));
        EXPECT_TRUE(awaitCondition([&s] { return s.isRead(); }));
        s.sendBytes(bytes(1, 6));
    });
    Client client(server.path());
    const Reply reply = client.exchange({platform::Request::HostInfo});
    ASSERT_EQ(reply.value.size(), 2U);
    EXPECT_EQ(reply.value[1], std::byte{6});
}

TEST(Client, SaysThatTheDaemonClosedTheConnection) {
    FakeServer server([](FakeServer& s) {
        Arrived request{};
        s.next(request);
    });
    Client client(server.path());
    const std::string text =
        connectionError([&client] { client.exchange({platform::Request::HostInfo}); });
    EXPECT_NE(text.find("the daemon closed the connection"), std::string::npos) << text;
}

TEST(Client, RefusesAReplyLongerThanTheChannelAllows) {
    FakeServer server([](FakeServer& s) {
        Arrived request{};
        s.next(request);
        const platform::ReplyHeader header = {0, platform::kMaxValueBytes + 1};
        s.sendBytes(std::as_bytes(std::span(&header, 1)));
        s.next(request);  // until the client has gone
    });
    std::string text;
    {
        Client client(server.path());
        text = connectionError([&client] { client.exchange({platform::Request::HostInfo}); });
    }
    EXPECT_NE(text.find("not one of the command channel"), std::string::npos) << text;
}

TEST(Client, TakesALongReplyToASnapshot) {
    constexpr std::size_t kLong = std::size_t{4} * platform::kMaxValueBytes;
    FakeServer server([](FakeServer& s) {
        Arrived request{};
        while (s.next(request))
            s.reply(0, bytes(kLong, 9));
    });
    Client client(server.path());
    EXPECT_EQ(client.exchange({platform::Request::Snapshot}).value.size(), kLong);
}

TEST(Client, SaysThatThereIsNoSuchSocket) {
    const std::string text = connectionError([] { Client client("/tmp/no-such-directory/s"); });
    EXPECT_NE(text.find("cannot connect to /tmp/no-such-directory/s: there is no such socket"),
              std::string::npos)
        << text;
}

TEST(Client, SaysThatAPathIsTooLong) {
    const std::string text = connectionError([] { Client client("/" + std::string(200, 'x')); });
    EXPECT_NE(text.find("at most 107 characters"), std::string::npos) << text;
}

TEST(Client, TakesTheSocketOfTheRuntimeDirectory) {
    setenv("MVRP_RUNTIME_DIR", "/run/somewhere", 1);
    EXPECT_EQ(cli::defaultSocketPath(), "/run/somewhere/mvrpcmd.socket");
    unsetenv("MVRP_RUNTIME_DIR");
    EXPECT_EQ(cli::defaultSocketPath(), "/tmp/mvrpcmd.socket");
}

TEST(SocketPath, IsThePathThatIsNamedOrInTheDirectoryThatIsNamed) {
    const ScratchDirectory scratch;
    EXPECT_EQ(cli::socketPath(scratch.path()), scratch.path("mvrpcmd.socket"));
    EXPECT_EQ(cli::socketPath(scratch.path("west.socket")), scratch.path("west.socket"));
}

}  // namespace
