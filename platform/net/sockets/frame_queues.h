// SPDX-License-Identifier: MIT
//
// What waits on a socket, behind a pollable descriptor: a ring for each source (a port), from which
// frames are taken by turns. A source that sends more than is read fills its own ring and delays
// the others by one frame each.
//
// An emptied ring is the next source's, the one that was used last first. So there are as many
// rings as sources ever had frames waiting at once; they are made then, and nothing is allocated
// for a frame.
//
// Locking: the owner's; waitingBytes() and isEmpty() are for any thread, without a lock or a system
// call.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "platform/net/sockets/frame_ring.h"

namespace platform {

class FrameQueues {
  public:
    struct Rules {
        u32 guaranteedFrames;  ///< of each source, as FrameRing's
        std::size_t limitBytes;
    };

    /// @param readyDescriptor  an eventfd of the owner: readable while anything waits
    /// @param waitingBytes     of the owner, 0: receives what waitingBytes() is; null: nobody does
    FrameQueues(int readyDescriptor, const Rules& rules, std::atomic<u32>* waitingBytes = nullptr);

    /// Byte limit of each source from now on; what waits stays.
    void setLimit(std::size_t limitBytes) { rules_.limitBytes = limitBytes; }

    /// @param source  frames of one are taken in the order in which they came
    /// @return false when its ring is full or the frame longer than FrameRing::kLongestFrame
    bool push(u32 source, const FrameMeta& meta, std::span<const u8> frame);

    /// Takes the oldest frame of the source whose turn it is: copies as much as `out` holds.
    /// @return its full length, or nothing when no frame waits (-1)
    ssize_t pop(FrameMeta& meta, std::span<u8> out);

    /// Bytes of all frames that wait.
    u32 waitingBytes() const { return waitingBytes_->load(std::memory_order_acquire); }
    bool isEmpty() const { return frames_.load(std::memory_order_acquire) == 0; }

  private:
    struct Queue {
        explicit Queue(u32 guaranteedFrames) : ring(guaranteedFrames) {}
        FrameRing ring;
        u32 source = 0;
        Queue* next = nullptr;    ///< whose turn is next, or the next idle one
        Queue* beside = nullptr;  ///< another one in the same bucket
    };

    Queue*& bucketOf(u32 source) { return buckets_[source % buckets_.size()]; }
    /// The queue of a source for which something waits; null: nothing does.
    Queue* find(u32 source);
    /// Makes an idle queue, or a new one, that of a source.
    Queue& begin(u32 source);
    /// Takes an emptied queue from its source.
    void end(Queue& queue);
    void appendToTurns(Queue& queue);

    const int readyDescriptor_;
    Rules rules_;
    std::vector<std::unique_ptr<Queue>> queues_;  ///< all there are
    std::array<Queue*, 256> buckets_{};           ///< by source, those with frames
    Queue* turn_ = nullptr;                       ///< the next that a frame is taken of
    Queue* lastTurn_ = nullptr;
    Queue* idle_ = nullptr;
    std::atomic<u32> frames_{0};
    std::atomic<u32> ownWaitingBytes_{0};
    std::atomic<u32>* const waitingBytes_;
};

}  // namespace platform
