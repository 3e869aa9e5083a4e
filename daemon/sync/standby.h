// SPDX-License-Identifier: MIT
//
// What the active daemon tells the standby card: which VLANs are applied on a port.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <span>

#include "daemon/db/port.h"
#include "daemon/sync/message.h"

/// Builds the message of a port. @return kMvrpSyncMessageBytes, or 0: fewer than 600 bytes of room
u32 mvrpVlanSyncPktBuild(const MvrpPortEntry* port, u32 type, std::span<u8> buffer);

/// Sends a message unless it is empty or no standby is there.
/// @return the platform's answer, 0 for an empty message
u32 mvrpSyncPktSend(std::span<u8> message);

/// Builds the message of a port and sends it.
void mvrpSyncPort(const MvrpPortEntry* port, MvrpSyncType type);

/// Role of this card in the numbering of the platform: always 3.
u32 mvrpRunningRoleGet();
/// Asks the platform for the type of a slot; the fourth argument is handed on.
u32 mvrpSlotTypeGet(void* out, u32 unused1, u32 unused2, u32 argument);

/// Reserved for the trace of synchronisation; nothing reads it.
extern u32 gMvrpSyncDebug;
