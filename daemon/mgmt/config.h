// SPDX-License-Identifier: MIT
//
// Configuration handlers behind the command channel. They run in the command task and take
// gMvrpInfo.sem themselves. Two paths return with it still held, as callers of this table have
// always seen it: scalar 3 while MVRP is globally disabled, and scalar 8 with a bad descriptor.
#pragma once

#include <array>

#include "daemon/db/port.h"
#include "platform/contract/icm.h"
#include "platform/contract/management.h"

/// How a change reached the daemon; becomes word 0 of the control block.
enum MvrpSetMode : u32 {
    MVRP_MODE_SYNC = 1,  ///< replayed by the platform
    MVRP_MODE_SET = 3,   ///< requested by management
};

/// Enumerate the table in ascending order of units, whatever unit is given. Take the lock.
/// @return 0, or MVRP_ERR_NO_PORT at the end of the table
u32 mvrpPortGetFirst(u32* portUnit);
u32 mvrpPortGetNext(u32 portUnit, u32* nextUnit);

u32 mvrpScalarGetApi(u32 unit, u32 attribute, void* value);
u32 mvrpScalarSetApi(u32 unit, u32 attribute, void* value);
u32 mvrpScalarSyncApi(u32 unit, u32 attribute, void* value);
u32 mvrpPortGetApi(u32 portUnit, u32 attribute, void* value);
u32 mvrpPortSetApi(u32 portUnit, u32 attribute, void* value);
u32 mvrpPortSyncApi(u32 portUnit, u32 attribute, void* value);

/// Applies a new registration mode: forbidden deregisters the port's dynamic VLANs. Lock held by
/// the caller. @return 0, or the deregistration's result
s32 mvrpSetPortRegistration(MvrpPortEntry* port);

/// Requests 0 to 8 of the command server.
extern const std::array<IcmFunc, 9> gMvrpFuncMap;
