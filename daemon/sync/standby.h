// SPDX-License-Identifier: MIT
//
// The standby card: the active daemon tells it which VLANs are applied on a port, and the standby's
// daemon mirrors that on its own switch without running the protocol for it.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <array>
#include <span>

#include "daemon/db/port.h"

enum MvrpSyncType : u32 {
    MVRP_SYNC_ADD = 2,     ///< the bitmap lists the VLANs applied on the port
    MVRP_SYNC_REMOVE = 3,  ///< the bitmap lists the VLANs not applied
};

inline constexpr u32 kMvrpSyncMessageBytes = 520;
/// Least room a message is built into.
inline constexpr u32 kMvrpSyncBuildBytes = 600;
/// Buffers that messages are built into and received into.
inline constexpr u32 kMvrpSyncBufferBytes = 1400;
using MvrpSyncBuffer = std::array<u8, kMvrpSyncBufferBytes>;

/// Builds the message of a port. @return kMvrpSyncMessageBytes, or 0: fewer than 600 bytes of room
u32 mvrpVlanSyncPktBuild(const MvrpPortEntry* port, u32 type, std::span<u8> buffer);

/// Sends a message unless it is empty or no standby is there.
/// @return the platform's answer, 0 for an empty message
u32 mvrpSyncPktSend(std::span<u8> message);

/// Builds the message of a port and sends it.
void mvrpSyncPort(const MvrpPortEntry* port, MvrpSyncType type);

/// Takes a message from the active card. `command` is the QorBuffer with the received bytes.
/// @return 0 for a message of an unknown type too; MVRP_ERR_ARGUMENT when it is longer than
///         kMvrpSyncBufferBytes; else the result of mvrpVlanSyncRecv()
u32 mvrpSyncPktRecv(const QorBuffer* command);
/// Applies a message, kMvrpSyncMessageBytes long and of a known type, to the switch. @return 0;
/// MVRP_ERR_NO_PORT when the port has no entry
u32 mvrpVlanSyncRecv(std::span<u8> message);

/// Role of this card in the numbering of the platform: always 3.
u32 mvrpRunningRoleGet();
/// Asks the platform for the type of a slot; the fourth argument is handed on.
u32 mvrpSlotTypeGet(void* out, u32 unused1, u32 unused2, u32 argument);

/// Reserved for the trace of synchronisation; nothing reads it.
extern u32 gMvrpSyncDebug;
