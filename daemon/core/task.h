// SPDX-License-Identifier: MIT
//
// The protocol task: waits on the three sockets and the timer list, hands frames to the PDU engine
// and route messages to the event handlers, runs expired timers.
#pragma once

#include <array>

#include "platform/contract/qor_socket.h"
#include "platform/contract/types.h"

inline constexpr u32 kMvrpReceiveBufferBytes = 3840;
inline constexpr u32 kMvrpControlBufferBytes = 128;

/// What the task keeps between passes of its loop.
struct MvrpTask {
    alignas(4) std::array<u8, kMvrpReceiveBufferBytes> buffer;
    alignas(4) std::array<u8, kMvrpControlBufferBytes> control;
    QorLinkAddress source;
    QorRouteAddress routeSource;
    s32 highestSocket;  ///< only grows
    bool packetInfoKnown;
    QorPacketInfo packetInfo;  ///< of the last frame that carried one; kept between frames
};

/// Body of "mvrptask"; never returns. The argument is ignored.
void mvrpMain(void* argument);

/// One pass of the loop: wait, run the timers, then at most one frame from each data socket and all
/// messages of the route socket. Takes the lock for each of these separately, so that a command
/// request can slip in between. `task` starts zeroed.
void mvrpTaskPass(MvrpTask* task);
