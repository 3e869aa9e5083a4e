// SPDX-License-Identifier: MIT
//
// Bounded queue of frames. One allocation when it is made (pages are untouched until used), none
// later.
//
// Locking: the owner's.
#pragma once

#include <sys/types.h>

#include <array>
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
    static constexpr std::size_t kLongestFrame = 3840;

    /// @param guaranteedFrames  at least 1: so many always fit, however large they are and whatever
    ///                          the byte limit
    explicit FrameRing(u32 guaranteedFrames);

    /// Memory of a ring; as much of it is touched as the ring was filled.
    static constexpr std::size_t storageBytes(u32 guaranteedFrames) {
        return guaranteedFrames * (kLongestFrame + kMostHeaderBytes);
    }

    /// @param limitBytes  that all frames may take with what is kept beside them
    /// @return false when the ring is full or the frame longer than kLongestFrame
    bool push(const FrameMeta& meta, std::span<const u8> frame, std::size_t limitBytes);

    /// Takes the oldest frame: copies as much as `out` holds.
    /// @return its full length, or nothing when the ring is empty (-1)
    ssize_t pop(FrameMeta& meta, std::span<u8> out);

    /// As pop(), and the frame stays.
    ssize_t peek(FrameMeta& meta, std::span<u8> out) const;

    bool isEmpty() const { return frames_ == 0; }

  private:
    static constexpr std::size_t kMostHeaderBytes = 32;
    struct Header {
        u32 length;
        FrameMeta meta;
    };
    static_assert(sizeof(Header) <= kMostHeaderBytes);

    void copyIn(const void* from, std::size_t count);
    /// @param offset  behind where the oldest frame begins
    void copyOut(std::size_t offset, void* to, std::size_t count) const;

    const u32 guaranteedFrames_;
    const std::size_t storageBytes_;
    std::unique_ptr<u8[]> storage_;
    std::size_t head_ = 0;  ///< where the oldest frame begins
    std::size_t used_ = 0;  ///< bytes of frames and headers
    u32 frames_ = 0;
};

}  // namespace platform
