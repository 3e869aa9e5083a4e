// SPDX-License-Identifier: MIT
//
// The daemon's three sockets over a socket layer, without a network.
#pragma once

#include <gtest/gtest.h>
#include <sys/select.h>

#include <algorithm>
#include <span>
#include <vector>

#include "platform/net/sockets/socket_layer.h"

namespace platform {

inline constexpr u32 kUnit = 3;
inline const std::vector<u8> kFrame = {1, 2, 3, 4, 5, 6, 7, 8, 9};

/// Remembers what was sent.
class FakeTransmitter final : public FrameTransmitter {
  public:
    int transmit(u32 unit, std::span<const u8> frame) override {
        lastUnit = unit;
        lastFrame.assign(frame.begin(), frame.end());
        return result;
    }
    int result = 0;
    u32 lastUnit = 0;
    std::vector<u8> lastFrame;
};

inline FrameMeta groupMeta() {
    FrameMeta meta;
    meta.unit = kUnit;
    meta.protocol = static_cast<u16>(kQorProtocolMvrp);
    meta.pduOffset = 22;
    meta.destination = {0x01, 0x80, 0xC2, 0, 0, 0x21};
    meta.source = {2, 0, 0, 0, 0, 7};
    return meta;
}

class SocketLayerTest : public testing::Test {
  protected:
    void SetUp() override {
        layer_.setTransmitter(&transmitter_);
        installSocketLayer(&layer_);
        mvrp_ = qor_socket(kQorFamilyPacket, kQorTypeRaw, kQorProtocolMvrp);
        gvrp_ = qor_socket(kQorFamilyPacket, kQorTypeRaw, kQorProtocolGvrp);
        route_ = qor_socket(kQorFamilyRoute, kQorTypeDatagram, 0);
        ASSERT_GT(mvrp_, 0);
        ASSERT_GT(gvrp_, 0);
        ASSERT_GT(route_, 0);
    }
    void TearDown() override {
        qor_close(mvrp_);
        qor_close(gvrp_);
        qor_close(route_);
        installSocketLayer(nullptr);
    }

    static int setWord(int socket, int level, int option, u32 value) {
        return qor_setsockopt(socket, level, option, &value, sizeof value);
    }
    static s32 waiting(int socket) {
        s32 bytes = -1;
        EXPECT_EQ(qor_ioctl(socket, kQorIoctlBytesWaiting, &bytes), 0);
        return bytes;
    }
    static void makeNonBlocking(int socket) {
        s32 on = 1;
        ASSERT_EQ(qor_ioctl(socket, kQorIoctlNonBlocking, &on), 0);
    }
    /// Waits on the three sockets as the protocol task does. @return qor_select()'s result
    int waitForAny(fd_set& read, long microseconds) const {
        FD_ZERO(&read);
        FD_SET(mvrp_, &read);
        FD_SET(gvrp_, &read);
        FD_SET(route_, &read);
        timeval timeout = {0, microseconds};
        return qor_select(std::max({mvrp_, gvrp_, route_}) + 1, &read, nullptr, nullptr, &timeout);
    }

    SocketLayer layer_;
    FakeTransmitter transmitter_;
    int mvrp_ = -1;
    int gvrp_ = -1;
    int route_ = -1;
};

}  // namespace platform
