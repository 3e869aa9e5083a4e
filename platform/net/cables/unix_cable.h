// SPDX-License-Identifier: MIT
//
// A cable to a port of another daemon. It receives on a bound socket and sends through a connected
// one of its own: so the other end, which is not connected to us, may come and go, and room in a
// full queue there can be waited for by the receive thread.
//
// Locking: a mutex of its own, which is held for calls that do not block.
#pragma once

#include <mutex>
#include <optional>

#include "platform/net/cables/cable.h"
#include "platform/net/sockets/frame_ring.h"
#include "platform/runtime/files/places.h"

namespace platform {

class UnixCable final : public Cable {
  public:
    /// Frames of any size that may wait for room, and as many smaller ones as fit into the same
    /// memory: the queue of a UNIX datagram socket may be as short as ten, less than one burst of
    /// declarations.
    static constexpr u32 kKeptFrames = 32;

    UnixCable(Place local, Place peer, Descriptor receive);
    /// Takes its own socket away, not that of a cable that replaced it.
    ~UnixCable() override;
    UnixCable(const UnixCable&) = delete;
    UnixCable& operator=(const UnixCable&) = delete;
    UnixCable(UnixCable&&) = delete;
    UnixCable& operator=(UnixCable&&) = delete;

    int descriptor() const override { return receive_.get(); }
    ino_t socketNumber() const override { return localNumber_; }
    int send(std::span<const u8> frame, NoRoom noRoom) override;
    void watchRoom(int epoll, u64 eventData) override;
    void sendKept() override;

  private:
    // All of them with mutex_ held.
    /// @return as send(), and EAGAIN when there is no room
    int put(std::span<const u8> frame);
    /// @return 0, or an errno value: of one that is no want there is nobody at the other end
    int connectPeer();
    bool keep(std::span<const u8> frame);
    /// Has the event come as soon as there is room.
    void awaitRoom();

    const Place local_;
    const ino_t localNumber_;
    const Place peer_;
    const Descriptor receive_;
    std::mutex mutex_;
    // Guarded by mutex_:
    Descriptor transmit_;            ///< closed while there is no peer
    std::optional<FrameRing> kept_;  ///< made when a frame is kept for the first time
    int epoll_ = -1;
    u64 eventData_ = 0;
};

}  // namespace platform
