// SPDX-License-Identifier: MIT
//
// The message between the active and the standby card. The active daemon tells which VLANs are
// applied on a port; the standby's daemon mirrors that on its own switch, without running the
// protocol for it.
#pragma once

#include <array>

#include "platform/contract/types.h"

enum MvrpSyncType : u32 {
    MVRP_SYNC_ADD = 2,     ///< the bitmap lists the VLANs applied on the port
    MVRP_SYNC_REMOVE = 3,  ///< the bitmap lists the VLANs not applied
};

/// Number of the command that carries a message: a set request for the scalar of the same meaning.
inline constexpr u32 kMvrpSyncCommand = 0xFC004;

inline constexpr u32 kMvrpSyncMessageBytes = 520;
/// Least room a message is built into.
inline constexpr u32 kMvrpSyncBuildBytes = 600;
/// Buffers that messages are built into and received into.
inline constexpr u32 kMvrpSyncBufferBytes = 1400;
using MvrpSyncBuffer = std::array<u8, kMvrpSyncBufferBytes>;

/// Places of the fields of a message; byte 1 is not written. Multi-byte fields are big-endian.
inline constexpr u32 kMvrpSyncTypeAt = 0;
inline constexpr u32 kMvrpSyncLengthAt = 2;
inline constexpr u32 kMvrpSyncUnitAt = 4;
inline constexpr u32 kMvrpSyncBitmapAt = 8;
static_assert(kMvrpSyncBitmapAt + kVlanBitmapBytes == kMvrpSyncMessageBytes);
