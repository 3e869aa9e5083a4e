// SPDX-License-Identifier: MIT
//
// The guard of a port that takes part: a filter at the port's ingress that drops what is sent to
// 01-80-C2-00-00-21, so that the bridge does not forward it; packet sockets have seen it by then.
// It is a flower filter under a clsact qdisc, with a handle and a cookie by which it is known again
// after a restart, and which tell for which bridge it is and whether the qdisc came with it:
//
//     tc filter show dev PORT ingress
//
// Two daemons, with a bridge each, may have to do with one port: that which it leaves and that
// which it comes to, at the same time. Each has a filter of its own and removes no other; the qdisc
// goes with the last. They take turns (guard_turn.h), so that the last one knows that it is.
//
// Filters and qdiscs of others stay as they are. Errors: kernel.h. Locking: that of the socket.
#pragma once

#include <string_view>

#include "platform/linux/kernel.h"
#include "platform/linux/netlink/guard_message.h"
#include "platform/linux/netlink/netlink_socket.h"

namespace platform {

/// What is at a port's ingress, for the daemon of one bridge.
struct GuardState {
    bool present = false;     ///< its filter is there, and as it was made
    bool changed = false;     ///< it is there, and does something else
    GuardPlace place;         ///< of it, present or changed; else where there is room for one
    u16 strange = 0;          ///< preference of the guard of another bridge's daemon, 0: none
    bool ownQdisc = false;    ///< the clsact qdisc was added with a guard
    bool placeTaken = false;  ///< somebody's filter that is no guard has one of its preferences
};

/// @param bridge  name of the bridge that the guard is for, here and below
KernelResult dumpGuard(NetlinkSocket& socket, u32 port, std::string_view bridge, GuardState& state);

/// Adds the guard, and the qdisc if there is none. A guard that is there stays; one that was
/// changed is made anew.
KernelResult addGuard(NetlinkSocket& socket, u32 port, std::string_view bridge);

/// Removes the guard, and the qdisc if it came with a guard and nobody else has filters there. No
/// guard, or no port any more, is no error.
KernelResult removeGuard(NetlinkSocket& socket, u32 port, std::string_view bridge);

}  // namespace platform
