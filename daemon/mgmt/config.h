// SPDX-License-Identifier: MIT
//
// Configuration handlers behind the command channel. They run in the command task and take
// gMvrpInfo.sem themselves. Two paths return with it still held, as callers of this table have
// always seen it: scalar 3 while MVRP is globally disabled, and scalar 8 with a bad descriptor.
#pragma once

#include <array>

#include "daemon/db/port.h"
#include "platform/contract/icm.h"

enum MvrpScalar : u32 {
    MVRP_SCALAR_ENABLE = 1,
    MVRP_SCALAR_DEBUG = 2,
    MVRP_SCALAR_GVRP_COMPLIANCE = 3,
    MVRP_SCALAR_SYNC_PACKET = 4,  ///< set only, QorBuffer
    MVRP_SCALAR_VERSION = 5,      ///< get only, QorBuffer
    MVRP_SCALAR_MVRP_NUM = 6,     ///< get only
    MVRP_SCALAR_ENTRY_NUM = 7,    ///< get only
    MVRP_SCALAR_STATUS = 8,       ///< set only, QorBuffer
};

enum MvrpPortAttribute : u32 {
    MVRP_PORT_ENABLE = 1,
    MVRP_PORT_REGISTRATION_MODE = 2,
    MVRP_PORT_PARTICIPANT_MODE = 3,
    MVRP_PORT_PERIOD_TIMEOUT = 4,
    MVRP_PORT_JOIN_TIMEOUT = 5,
    MVRP_PORT_LEAVE_TIMEOUT = 6,
    MVRP_PORT_LEAVE_ALL_TIMEOUT = 7,
    MVRP_PORT_APPLICANT = 8,       ///< get only; the value carries a VLAN ID in
    MVRP_PORT_REGISTRAR = 9,       ///< the same
    MVRP_PORT_REG_BIT = 10,        ///< the same
    MVRP_PORT_PROPAGATE_BIT = 11,  ///< the same
};

/// Command numbers of qorHwilCmdSyncApi(): the attribute id plus one of these.
inline constexpr u32 kMvrpScalarCommandBase = 0xFC000;
inline constexpr u32 kMvrpPortCommandBase = 0x040A8000;

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
