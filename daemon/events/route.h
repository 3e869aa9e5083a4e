// SPDX-License-Identifier: MIT
//
// Notifications of the platform about interfaces and VLANs, as messages on the route socket in the
// machine's byte order. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <array>
#include <span>

#include "platform/contract/types.h"

/// Operation of a receive match.
enum MvrpMatchOperation : u32 { MVRP_MATCH_INSTALL = 1, MVRP_MATCH_REMOVE = 2 };

using MvrpMacAddress = std::array<u8, 6>;

/// Walks the messages of a buffer and dispatches each; stops at the first whose length is out of
/// bounds. May write into the buffer (the member of a "port added to VLAN" becomes the message's
/// interface). @return 0
u32 mvrpEvtNotifyRecv(std::span<u8> buffer);

/// Puts a port's configuration back to its defaults and takes it out of the protocol.
void mvrpIfResetConfig(u32 interfaceIndex);

/// Installs or removes the receive matches of one port on both data sockets; another operation does
/// nothing. @return 0; -1 at the first socket option that could not be set
s32 mvrpSocketPktFilter(u32 interfaceIndex, const MvrpMacAddress& mac, u32 operation);
