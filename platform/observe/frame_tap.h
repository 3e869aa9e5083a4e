// SPDX-License-Identifier: MIT
//
// The latest frames of all ports, kept while somebody captures: a ring of slots that new frames
// overwrite. The memory is taken when the first capture begins; without a capture a frame costs one
// look at the clock or less.
//
// Locking: guards itself.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "platform/channel/observations.h"
#include "platform/wire/frame.h"

namespace platform {

class FrameTap {
  public:
    FrameTap();

    /// Whether somebody asked for frames within the last few seconds. Any thread.
    bool active();
    void add(u32 unit, bool sent, std::span<const u8> bytes);

    /// Appends the header and the frames after `since` to `reply`, as many as a reply holds.
    /// `since` kNever begins: no frames then.
    void read(u64 since, std::vector<u8>& reply);

  private:
    static constexpr std::size_t kSlots = 512;
    struct Slot {
        CapturedFrame head;
        std::array<u8, kLongestNativeFrame> bytes;
    };

    std::atomic<u64> activeUntilMs_{0};
    std::mutex mutex_;
    std::unique_ptr<std::array<Slot, kSlots>> slots_;  ///< guarded by mutex_, as the following
    u64 newest_;                                       ///< sequence number of the latest frame
    u64 first_;                                        ///< of the oldest that is kept
};

}  // namespace platform
