// SPDX-License-Identifier: MIT
//
// One of the daemon's protocol sockets: what waits there behind an eventfd, and the options set on
// it. Frames wait in a ring for each port, notifications in one, as their order counts.
//
// Locking: that of the socket layer, which owns it, around delivery, queues and options. What an
// option says is read without.
#pragma once

#include <atomic>
#include <optional>
#include <vector>

#include "platform/contract/qor_socket.h"
#include "platform/net/sockets/frame_queues.h"
#include "platform/runtime/files/descriptor.h"
#include "platform/switch/route_message.h"

namespace platform {

enum class SocketKind { Mvrp, Gvrp, Route };

/// What became of a frame that was offered to a socket.
enum class Delivery { Delivered, Tunnel, Overflow, NoSocket };

class FrameSocket {
  public:
    /// @param waitingBytes  as FrameQueues'
    FrameSocket(SocketKind kind, Descriptor ready, std::atomic<u32>* waitingBytes);

    SocketKind kind() const { return kind_; }
    int descriptor() const { return ready_.get(); }
    FrameQueues& queues() { return queues_; }

    /// Offers a frame, unless a receive match takes it.
    Delivery deliver(const FrameMeta& meta, std::span<const u8> frame);
    /// Offers messages of a group, unless the socket did not join it.
    Delivery deliver(const RouteDatagram& datagram);

    /// The receive buffer is a limit for each port.
    /// @return 0, or an errno value
    int setOption(int level, int option, const void* value, socklen_t length);
    void setNonBlocking(bool nonBlocking) { nonBlocking_.store(nonBlocking); }
    bool isNonBlocking() const { return nonBlocking_.load(); }
    bool attachesPacketInfo() const { return packetInfo_.load(); }
    u32 owner() const { return owner_.load(); }

  private:
    int addMatch(const QorReceiveMatch& match);
    int removeMatch(const QorReceiveMatch& match);
    bool isTunnelled(const FrameMeta& meta) const;

    const SocketKind kind_;
    Descriptor ready_;
    FrameQueues queues_;
    std::atomic<bool> nonBlocking_{false};
    std::atomic<bool> packetInfo_{false};
    std::atomic<u32> owner_{0};
    std::vector<QorReceiveMatch> matches_;  ///< a pair of a port takes two
    std::vector<u32> groups_;
};

}  // namespace platform
