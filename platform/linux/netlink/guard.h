// SPDX-License-Identifier: MIT
//
// The guard of a port that takes part: a filter at the port's ingress that drops what is sent to
// 01-80-C2-00-00-21, so that the bridge does not forward it; packet sockets have seen it by then.
// It is a flower filter under a clsact qdisc, with a place and a cookie of its own by which it is
// known again after a restart, and which tells whether the qdisc came with it:
//
//     tc filter show dev PORT ingress
//
// Filters and qdiscs of others stay as they are. Errors: kernel.h. Locking: that of the socket.
#pragma once

#include "platform/linux/kernel.h"
#include "platform/linux/netlink/netlink_socket.h"

namespace platform {

/// What is at a port's ingress.
struct GuardState {
    bool present = false;     ///< our filter is there
    bool ownQdisc = false;    ///< the clsact qdisc was added with it
    bool placeTaken = false;  ///< somebody else's filter has our preference
};

KernelResult dumpGuard(NetlinkSocket& socket, u32 port, GuardState& state);

/// Adds the guard, and the qdisc if there is none. A guard that is there stays.
KernelResult addGuard(NetlinkSocket& socket, u32 port);

/// Removes the guard, and the qdisc if it came with the guard and nobody else has filters there. No
/// guard, or no port any more, is no error.
KernelResult removeGuard(NetlinkSocket& socket, u32 port);

}  // namespace platform
