// SPDX-License-Identifier: MIT
//
// Frames that the daemon sends while others wait for it: gathered, and the same only once.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <thread>

#include "platform/contract/sil.h"
#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

using frames::Bytes;
using frames::nativeFrame;

const Bytes kJoin10 = nativeFrame("00 01 01 0001 000a 24 0000");
const Bytes kJoin11 = nativeFrame("00 01 01 0001 000b 24 0000");

/// A node with a cable at port 3 whose other end is a socket, and the daemon's lock.
class Gathering : public ::testing::Test {
  protected:
    Gathering() {
        const std::string path = directory_.path("peer");
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(peer_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        node_.enable(3);
        node_.plug(3, "unix:" + directory_.path("own") + "," + path);
        setPutOffWork(&node_.net);
    }
    ~Gathering() override {
        setPutOffWork(nullptr);
        silDeleteSem(sem_);
    }
    Gathering(const Gathering&) = delete;
    Gathering& operator=(const Gathering&) = delete;
    Gathering(Gathering&&) = delete;
    Gathering& operator=(Gathering&&) = delete;

    void frameWaits() { node_.net.frameArrived(3, kJoin10, false); }
    void noFrameWaits() { EXPECT_EQ(node_.receive(node_.mvrp).frame, kJoin10); }
    void holdLock() const { ASSERT_EQ(silTakeSem(sem_, -1), kStatusOk); }
    void giveLock() const { ASSERT_EQ(silGiveSem(sem_), kStatusOk); }
    /// As the daemon does for a received frame.
    void sendHeld(const Bytes& frame) {
        holdLock();
        ASSERT_GT(node_.send(node_.mvrp, 3, frame), 0);
        giveLock();
        sent_.push_back(frame);
    }
    /// Takes what has come out of the cable.
    void read() {
        for (;;) {
            Bytes frame(kLongestNativeFrame);
            const ssize_t length = recv(peer_.get(), frame.data(), frame.size(), MSG_DONTWAIT);
            if (length < 0)
                return;
            frame.resize(static_cast<std::size_t>(length));
            came_.push_back(std::move(frame));
        }
    }
    u64 repeated() const { return node_.net.losses().repeated; }
    u64 framesOut() const { return node_.net.counters(3).framesOut; }

    ScratchDirectory directory_;
    const Descriptor peer_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    const u32 sem_ = silCreateMSem(0);
    NetNode node_;
    std::vector<Bytes> sent_;
    std::vector<Bytes> came_;
};

TEST_F(Gathering, WhileNoFrameWaitsEachGoesAtOnce) {
    holdLock();
    for (std::size_t count = 1; count <= 3; ++count) {
        ASSERT_GT(node_.send(node_.mvrp, 3, kJoin10), 0);
        read();
        EXPECT_EQ(came_.size(), count);
    }
    giveLock();
    EXPECT_EQ(repeated(), 0U);
    EXPECT_EQ(framesOut(), 3U);
}

// How much is gathered depends on the time that passes; nothing that is expected here does.
TEST_F(Gathering, WhileFramesWaitARepetitionGoesOnceAndTheOrderStays) {
    frameWaits();
    EXPECT_TRUE(await([this] {
        for (const Bytes& frame : {kJoin10, kJoin10, kJoin11, kJoin11, kJoin10})
            sendHeld(frame);
        read();
        return repeated() > 1;
    }));
    noFrameWaits();
    sendHeld(kJoin11);
    read();
    EXPECT_EQ(framesOut() + repeated(), sent_.size());
    EXPECT_EQ(framesOut(), came_.size());
    const auto once = [](std::vector<Bytes> frames) {
        frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
        return frames;
    };
    EXPECT_EQ(once(came_), once(sent_));
}

TEST_F(Gathering, WhatIsGatheredGoesWithTheLastWaitingFrame) {
    frameWaits();
    sendHeld(kJoin10);
    noFrameWaits();
    sendHeld(kJoin11);
    read();
    EXPECT_EQ(came_, sent_);
}

TEST_F(Gathering, AnotherThreadThatTakesTheLockSendsIt) {
    frameWaits();
    sendHeld(kJoin10);
    std::thread([this] {
        holdLock();
        EXPECT_EQ(framesOut(), 1U);
        giveLock();
    }).join();
}

TEST_F(Gathering, ItGoesBeforeTheDaemonWaits) {
    frameWaits();
    sendHeld(kJoin10);
    noFrameWaits();
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(node_.mvrp, &readable);
    timeval none{};
    EXPECT_EQ(node_.sockets.select(node_.mvrp + 1, &readable, nullptr, nullptr, &none), 0);
    EXPECT_EQ(framesOut(), 1U);
}

TEST_F(Gathering, ASenderWithoutTheLockDoesNotOvertakeIt) {
    frameWaits();
    sendHeld(kJoin10);
    ASSERT_GT(node_.send(node_.mvrp, 3, kJoin11), 0);
    read();
    EXPECT_EQ(came_, (std::vector<Bytes>{kJoin10, kJoin11}));
}

TEST_F(Gathering, NothingIsKeptForLong) {
    frameWaits();
    sendHeld(kJoin10);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    holdLock();
    giveLock();
    EXPECT_EQ(framesOut(), 1U);
    EXPECT_EQ(repeated(), 0U);
}

}  // namespace
}  // namespace platform::testing
