// SPDX-License-Identifier: MIT
//
// Handlers of the two link messages. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <span>

#include "daemon/db/port.h"

/// An interface was created, or something about it changed. `message` starts with its header; a
/// "port added to VLAN" writes the member's index into it.
void mvrpNewLink(std::span<u8> message);

/// An interface, or the VLAN that it was, is gone.
void mvrpDelLink(std::span<const u8> message);

/// Takes a port out of the protocol: disables it, withdraws its VLANs at once, deletes its entry.
void mvrpPortWithdraw(MvrpPortEntry* port);
