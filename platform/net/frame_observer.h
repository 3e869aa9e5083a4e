// SPDX-License-Identifier: MIT
//
// Somebody who looks on while frames pass through the frame layer: for statistics and captures.
//
// Locking: called by the receive thread, the protocol task and the command thread, with the frame
// layer's lock held (FrameNet::mutex()), which may guard the observer's records as well. It runs on
// the frames' way, so it neither allocates nor waits.
#pragma once

#include <optional>
#include <span>

#include "platform/net/sockets/frame_socket.h"
#include "platform/wire/frame.h"

namespace platform {

class FrameObserver {
  public:
    FrameObserver() = default;
    virtual ~FrameObserver() = default;
    FrameObserver(const FrameObserver&) = delete;
    FrameObserver& operator=(const FrameObserver&) = delete;
    FrameObserver(FrameObserver&&) = delete;
    FrameObserver& operator=(FrameObserver&&) = delete;

    /// A frame came out of a port's cable, before anything is done with it.
    virtual void frameArrived(u32 unit, std::span<const u8> bytes) = 0;
    /// What became of a frame that arrived. @param outcome  nothing: dropped for `reason`
    virtual void frameHandled(u32 unit, const FrameView& view, DropReason reason,
                              std::optional<Delivery> outcome) = 0;
    /// A frame went into a port's cable.
    /// @param bytes  as on the wire; @param error  0, or errno; @param nowMs  of monotonicMs()
    virtual void frameSent(u32 unit, std::span<const u8> bytes, int error, u64 nowMs) = 0;
    /// A moment after frames came, when they have led to what they lead to; at least once a second
    /// while they come. By the receive thread.
    virtual void lookAround() {}
};

}  // namespace platform
