// SPDX-License-Identifier: MIT
//
// A whole switch without a daemon: software switch, sockets and frame layer; the test is the
// daemon.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/net/frame_net.h"
#include "platform/switch/soft_switch.h"
#include "tests/scratch_directory.h"
#include "tests/unit/switch/soft_harness.h"
#include "tests/unit/wire/frame_builder.h"

namespace platform::testing {

/// Waits for a condition that another thread brings about. The limit only ends a failing test.
template <typename Condition>
bool await(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

struct Received {
    u32 unit = 0;
    u32 pduOffset = 0;
    frames::Bytes frame;  ///< empty: none came
};

class NetNode {
  public:
    explicit NetNode(const SwitchConfig& config = smallSwitch())
        : soft(config), net(soft, sockets) {
        sockets.setTransmitter(&net);
        net.setPlaces(RequestPlaces({std::filesystem::temp_directory_path(), MVRP_TEST_DATA}));
        soft.setRouteSink(&sockets);
        mvrp = sockets.open(kQorFamilyPacket, kQorTypeRaw, kQorProtocolMvrp);
        gvrp = sockets.open(kQorFamilyPacket, kQorTypeRaw, kQorProtocolGvrp);
        const u32 on = 1;
        EXPECT_EQ(sockets.setOption(mvrp, kQorLevelPacket, kQorOptionPacketInfo, &on, 4), 0);
        EXPECT_EQ(sockets.setOption(gvrp, kQorLevelPacket, kQorOptionPacketInfo, &on, 4), 0);
    }
    ~NetNode() {
        net.stop();
        sockets.close(mvrp);
        sockets.close(gvrp);
    }
    NetNode(const NetNode&) = delete;
    NetNode& operator=(const NetNode&) = delete;
    NetNode(NetNode&&) = delete;
    NetNode& operator=(NetNode&&) = delete;

    void start() {
        std::string error;
        ASSERT_TRUE(net.start(smallSwitch(), error)) << error;
    }
    void plug(u32 unit, const std::string& cable) {
        std::string error;
        ASSERT_EQ(net.setCable(unit, cable, error), HostStatus::Ok) << error;
    }
    void enable(u32 unit, u32 protocol = kProtocolMvrp) {
        ASSERT_TRUE(soft.setProtocol(unit, protocol, true));
    }
    void change(SwitchChangeKind kind, u32 unit, u32 value) {
        std::string error;
        ASSERT_EQ(soft.change(changeOf(kind, unit, value), error), HostStatus::Ok) << error;
    }
    /// Sends as the daemon does. @return bytes, or -1
    ssize_t send(int socket, u32 unit, frames::Bytes frame) {
        QorLinkAddress to{};
        to.interfaceIndex = static_cast<s32>(unit);
        iovec part = {frame.data(), frame.size()};
        msghdr message{};
        message.msg_name = &to;
        message.msg_namelen = sizeof to;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        return sockets.sendMessage(socket, &message, 0);
    }
    /// The next frame of a socket; waits for it unless `wait` is false.
    Received receive(int socket, bool wait = true) {
        pollfd item = {socket, POLLIN, 0};
        Received received;
        if (poll(&item, 1, wait ? 20'000 : 0) != 1)
            return received;
        QorLinkAddress from{};
        received.frame.resize(3840);
        std::array<u8, 128> control{};
        iovec part = {received.frame.data(), received.frame.size()};
        msghdr message{};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t length = sockets.receiveMessage(socket, &message, MSG_DONTWAIT);
        received.frame.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        received.unit = static_cast<u32>(from.interfaceIndex);
        received.pduOffset = control[sizeof(QorControlHeader) + 16];
        return received;
    }

    SoftSwitch soft;
    SocketLayer sockets;
    FrameNet net;
    int mvrp = -1;
    int gvrp = -1;
};

}  // namespace platform::testing
