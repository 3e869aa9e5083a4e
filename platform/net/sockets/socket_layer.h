// SPDX-License-Identifier: MIT
//
// The daemon's sockets by descriptor, with the meanings of the POSIX calls. The contract's qor_*
// functions (qor_calls.cpp) go to the installed layer.
//
// The raw and route sockets are rings in memory; local stream sockets are the host's own, with
// their paths in the runtime directory. None of the platform's option or group numbers reaches the
// host's kernel.
//
// Locking: any thread may call; one mutex guards the table, the rings and the options, and is held
// while a frame is copied into a ring or out of it. The bytes that wait are read without. A socket
// that is closed lives until the last call on it has returned.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/contract/qor_socket.h"
#include "platform/net/sockets/frame_socket.h"

namespace platform {

/// Sends frames for the sockets.
class FrameTransmitter {
  public:
    virtual ~FrameTransmitter() = default;
    /// @param frame  a whole frame in the daemon's form
    /// @return 0, or an errno value. A frame that is lost on its way counts as sent.
    virtual int transmit(u32 unit, std::span<const u8> frame) = 0;
};

class SocketLayer final : public RouteSink {
  public:
    /// Set before other threads run; null: every send fails with ENETDOWN.
    void setTransmitter(FrameTransmitter* transmitter) { transmitter_ = transmitter; }

    /// Offers a received frame to every socket of the protocol. With several sockets the best
    /// outcome counts.
    Delivery deliver(SocketKind kind, const FrameMeta& meta, std::span<const u8> frame);
    void deliver(const RouteDatagram& datagram) override;
    /// Route datagrams that found a full ring.
    u64 lostNotifications() const { return lostNotifications_.load(); }

    /// Whether a received frame waits for the daemon. Any thread, without a lock or a system call.
    bool framesWait() const;

    // The calls of the contract: results and errno as POSIX.
    int open(int family, int type, int protocol);
    int bind(int socket, const void* address, socklen_t length);
    int setOption(int socket, int level, int option, const void* value, socklen_t length);
    int control(int socket, unsigned long request, void* argument);
    int select(int count, fd_set* read, fd_set* write, fd_set* except, const timeval* timeout);
    ssize_t receiveMessage(int socket, msghdr* message, int flags);
    ssize_t receiveFrom(int socket, void* buffer, size_t length, int flags, void* address,
                        socklen_t* addressLength);
    ssize_t sendMessage(int socket, const msghdr* message, int flags);
    int close(int socket);

  private:
    using SocketPointer = std::shared_ptr<FrameSocket>;

    /// What is asked between any two pending changes of the switch, so without a lock: whether a
    /// descriptor is one of ours, and the bytes that wait there. The number is used again only when
    /// the socket is gone, and with it the last that counts here.
    struct Waiting {
        std::atomic<bool> ours{false};
        std::atomic<u32> bytes{0};
    };

    /// Where framesWait() looks for the frames of a kind; null: it has none.
    std::atomic<int>* placeOf(SocketKind kind) {
        return kind == SocketKind::Route ? nullptr : &frameSockets_[kind == SocketKind::Gvrp];
    }
    SocketPointer find(int socket);
    bool isOurs(int socket) const {
        return socket >= 0 && static_cast<std::size_t>(socket) < waiting_.size() &&
               waiting_[static_cast<std::size_t>(socket)].ours.load(std::memory_order_acquire);
    }
    /// Waits for a frame unless the socket or the call is non-blocking. @return as recv()
    ssize_t take(FrameSocket& socket, int flags, FrameMeta& meta, std::span<u8> out);

    FrameTransmitter* transmitter_ = nullptr;
    std::atomic<u64> lostNotifications_{0};
    std::array<Waiting, FD_SETSIZE> waiting_{};  ///< by descriptor
    /// The sockets of MVRP and of GVRP that were opened last; -1: none.
    std::array<std::atomic<int>, 2> frameSockets_{-1, -1};
    std::mutex mutex_;
    std::vector<SocketPointer> open_;  ///< guarded by mutex_, as what it holds; a handful
};

/// Installs the layer behind the contract; null takes it out. The caller owns it and keeps it until
/// no thread calls the contract any more.
void installSocketLayer(SocketLayer* layer);
SocketLayer* socketLayer();

}  // namespace platform
