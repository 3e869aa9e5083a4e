// SPDX-License-Identifier: MIT
//
// Whole lists of the kernel, for the requests of the driver and for the notifications alike. A list
// that changes while it is read is read again, a few times at most.
//
// On failure the lists are empty. Locking: that of the socket.
#pragma once

#include <vector>

#include "platform/linux/kernel.h"
#include "platform/linux/netlink/netlink_socket.h"

namespace platform {

/// All links, by index.
KernelResult dumpLinks(NetlinkSocket& socket, std::vector<KernelLink>& links);

/// VLAN entries of all bridges and bridge ports that have any, by index.
/// @param index  only those of this interface; 0 all
KernelResult dumpVlans(NetlinkSocket& socket, u32 index, std::vector<KernelVlans>& vlans);

}  // namespace platform
