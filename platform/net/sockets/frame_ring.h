// SPDX-License-Identifier: MIT
//
// Bounded queue of frames behind a pollable descriptor. One allocation when it is made (pages are
// untouched until used), none later.
//
// Locking: the owner's; waitingBytes() and isEmpty() are for any thread, without a lock or a system
// call.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <span>

#include "platform/contract/types.h"

namespace platform {

/// What is kept beside the bytes of a frame.
struct FrameMeta {
    u32 unit = 0;      ///< ingress unit; for a route message its group
    u16 protocol = 0;  ///< of the socket
    u8 pduOffset = 0;  ///< in the frame
    std::array<u8, 6> destination{};
    std::array<u8, 6> source{};
};

class FrameRing {
  public:
    /// Frames that always fit, however large they are and whatever the byte limit.
    static constexpr u32 kGuaranteedFrames = 512;
    static constexpr std::size_t kLongestFrame = 3840;
    static constexpr std::size_t kStorageBytes = std::size_t{2} << 20;

    /// @param readyDescriptor  an eventfd of the owner: readable while the ring holds something
    /// @param waitingBytes     of the owner, 0: receives what waitingBytes() is; null: nobody does
    FrameRing(int readyDescriptor, std::size_t limitBytes,
              std::atomic<u32>* waitingBytes = nullptr);

    /// Byte limit from now on; what is in the ring stays. Cut to kStorageBytes.
    void setLimit(std::size_t limitBytes);

    /// @return false when the ring is full or the frame longer than kLongestFrame
    bool push(const FrameMeta& meta, std::span<const u8> frame);

    /// Takes the oldest frame: copies as much as `out` holds.
    /// @return its full length, or nothing when the ring is empty (-1)
    ssize_t pop(FrameMeta& meta, std::span<u8> out);

    /// Bytes of all frames that wait.
    u32 waitingBytes() const { return waitingBytes_->load(std::memory_order_acquire); }
    bool isEmpty() const { return frames_.load(std::memory_order_acquire) == 0; }

  private:
    struct Header {
        u32 length;
        FrameMeta meta;
    };

    void copyIn(const void* from, std::size_t count);
    void copyOut(void* to, std::size_t count);
    void skip(std::size_t count) { head_ = (head_ + count) % kStorageBytes; }

    const int readyDescriptor_;
    std::unique_ptr<u8[]> storage_;
    std::size_t limitBytes_;
    std::size_t head_ = 0;  ///< where the oldest frame begins
    std::size_t used_ = 0;  ///< bytes of frames and headers
    std::atomic<u32> frames_{0};
    std::atomic<u32> ownWaitingBytes_{0};
    std::atomic<u32>* const waitingBytes_;
};

}  // namespace platform
