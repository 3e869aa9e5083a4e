// SPDX-License-Identifier: MIT
//
// Hardware layer: scalars, slots, and the synchronisation of commands with the configuration store
// and the standby.
#pragma once

#include "platform/contract/types.h"

inline constexpr u32 kHwilScalarStandby = 54;    ///< read: 0 while an active daemon has its peer
inline constexpr u32 kHwilScalarProtocol = 499;  ///< write: protocol id of the daemon

/// Control block of qorHwilCmdSyncApi().
struct QorCommandControl {
    u32 words[16];
};
static_assert(sizeof(QorCommandControl) == 64);

u32 qorHwilScalarSet(u32 unit, u32 scalar, void* value, u32 reserved);
u32 qorHwilScalarGet(u32 unit, u32 scalar, void* value);
/// Records a command in the configuration store and carries it to the standby, if one is connected.
/// @param value    the command's value, or a QorBuffer for the commands that carry a packet
/// @param control  a QorCommandControl
/// @return 0, or the status that the store or the standby answered
u32 qorHwilCmdSyncApi(u32 unit, u32 command, void* value, void* control);
u32 qorHwilSlotGet(void* out, u32 query, u32 reserved, u32 argument);
