// SPDX-License-Identifier: MIT
//
// Requests to another process: what counts as its answer, and what as silence.
#include "platform/replication/peer_channel.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <thread>
#include <vector>

namespace platform {
namespace {

constexpr RequestHeader kHeader{static_cast<u32>(Request::PortSync), 3, 2, 0};

Deadline in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

/// Time that no test needs.
constexpr std::chrono::seconds kLong{30};

class PeerChannel : public testing::Test {
  protected:
    PeerChannel() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()), 0); }
    ~PeerChannel() override {
        close(ends_[0]);
        closePeer();
    }
    PeerChannel(const PeerChannel&) = delete;
    PeerChannel& operator=(const PeerChannel&) = delete;

    void closePeer() {
        if (ends_[1] >= 0)
            close(ends_[1]);
        ends_[1] = -1;
    }

    void answer(const ReplyHeader& reply, std::size_t valueBytes = 0) const {
        send(&reply, sizeof reply);
        const std::vector<u8> value(valueBytes);
        send(value.data(), value.size());
    }

    void send(const void* bytes, std::size_t count) const {
        EXPECT_EQ(write(ends_[1], bytes, count), static_cast<ssize_t>(count));
    }

    std::optional<u32> request(std::chrono::milliseconds time = kLong) const {
        return requestStatus(ends_[0], kHeader, {}, in(time));
    }

    std::array<int, 2> ends_{-1, -1};
};

TEST_F(PeerChannel, TheStatusIsThatOfTheReply) {
    answer({22, 0});
    EXPECT_EQ(request(), 22U);
}

TEST_F(PeerChannel, AValueIsReadOverSoThatTheNextReplyIsInStep) {
    answer({0, 3000}, 3000);
    answer({17, 0});
    EXPECT_EQ(request(), 0U);
    EXPECT_EQ(request(), 17U);
}

TEST_F(PeerChannel, AReplyMayComeInParts) {
    constexpr ReplyHeader kReply{2, 0};
    send(&kReply, 3);
    std::jthread peer([&] { send(reinterpret_cast<const u8*>(&kReply) + 3, sizeof kReply - 3); });
    EXPECT_EQ(request(), 2U);
}

TEST_F(PeerChannel, SilenceEndsAtTheDeadline) {
    EXPECT_EQ(request(std::chrono::milliseconds(5)), std::nullopt);
}

TEST_F(PeerChannel, AValueThatNeverEndsIsSilence) {
    answer({0, 2}, 1);
    EXPECT_EQ(request(std::chrono::milliseconds(5)), std::nullopt);
}

TEST_F(PeerChannel, APeerThatClosesHasNotAnswered) {
    closePeer();
    EXPECT_EQ(request(), std::nullopt);
}

TEST_F(PeerChannel, AReplyLongerThanAnyValueIsNoReply) {
    answer({0, kMaxValueBytes + 1});
    EXPECT_EQ(request(), std::nullopt);
}

TEST_F(PeerChannel, AnInterruptedWaitIsNoSilence) {
    struct sigaction quiet = {}, before = {};
    quiet.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &quiet, &before), 0);
    {
        std::jthread peer([&, waiting = pthread_self()] {
            for (int i = 0; i < 50; ++i) {
                pthread_kill(waiting, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            answer({0, 0});
        });
        EXPECT_EQ(request(), 0U);
    }
    sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
}  // namespace platform
