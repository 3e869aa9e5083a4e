// SPDX-License-Identifier: MIT
//
// Port attributes: requests 3 to 5 of the command channel.
#include "daemon/base/lock.h"
#include "daemon/fsm/machine.h"
#include "daemon/map/port_enable.h"
#include "daemon/map/static_vlan.h"
#include "daemon/mgmt/command_sync.h"
#include "daemon/mgmt/config.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"

namespace {

/// Highest VLAN ID whose machine can be asked for: one less than the ports keep.
constexpr u32 kVlanReadLast = 4094;

constexpr u32 kModeMask = 3;

/// One request to change a port attribute.
struct MvrpPortChange {
    u32 unit;
    u32 attribute;
    u32* value;
    MvrpSetMode mode;
};

u32 mvrpPortReplicate(const MvrpPortChange& change) {
    return mvrpPortCommandSync(change.unit, kMvrpPortCommandBase + change.attribute, change.value,
                               change.mode);
}

u32 mvrpMachineRead(const MvrpPortEntry* port, u32 attribute, u32* value) {
    if (*value < kMvrpVlanFirst || *value > kVlanReadLast)
        return MVRP_ERR_ARGUMENT;
    const u8 machine = port->madMachine[*value - 1];
    switch (attribute) {
        case MVRP_PORT_APPLICANT:
            *value = mvrpApplicant(machine);
            break;
        case MVRP_PORT_REGISTRAR:
            *value = mvrpRegistrar(machine);
            break;
        case MVRP_PORT_REG_BIT:
            *value = mvrpBitTest(&machine, MVRP_REG_BIT);
            break;
        default:
            *value = mvrpBitTest(&machine, MVRP_PROPAGATE_BIT);
            break;
    }
    return kStatusOk;
}

u32 mvrpPortRead(const MvrpPortEntry* port, u32 attribute, u32* value) {
    switch (attribute) {
        case MVRP_PORT_ENABLE:
            *value = port->enable;
            return kStatusOk;
        case MVRP_PORT_REGISTRATION_MODE:
            *value = port->registration_mode;
            return kStatusOk;
        case MVRP_PORT_PARTICIPANT_MODE:
            *value = port->participant_mode;
            return kStatusOk;
        case MVRP_PORT_PERIOD_TIMEOUT:
            *value = port->period_trans_timeout;
            return kStatusOk;
        case MVRP_PORT_JOIN_TIMEOUT:
            *value = port->join_timeout;
            return kStatusOk;
        case MVRP_PORT_LEAVE_TIMEOUT:
            *value = port->leave_timeout;
            return kStatusOk;
        case MVRP_PORT_LEAVE_ALL_TIMEOUT:
            *value = port->leaveAllTimeout;
            return kStatusOk;
        case MVRP_PORT_APPLICANT:
        case MVRP_PORT_REGISTRAR:
        case MVRP_PORT_REG_BIT:
        case MVRP_PORT_PROPAGATE_BIT:
            return mvrpMachineRead(port, attribute, value);
        default:
            return MVRP_ERR_ARGUMENT;
    }
}

/// Whether the protocol may be switched on or off on a port. @return 0, or why not
u32 mvrpPortEligible(u32 unit) {
    u32 eligible = 0;
    if (qorIfGetApi(unit, static_cast<u32>(QorIfAttribute::Eligible), &eligible) != kStatusOk)
        return MVRP_ERR_UNREADABLE;
    if (eligible != 1)
        return MVRP_ERR_NOT_ELIGIBLE;
    return gMvrpInfo.enable == MVRP_ON ? kStatusOk : u32{MVRP_ERR_DISABLED};
}

u32 mvrpPortSwitchOn(MvrpPortEntry* port, u32 unit) {
    if (port != nullptr)
        return kStatusOk;
    port = mvrpPortEntryAdd(unit);
    if (port == nullptr)
        return MVRP_ERR_NO_MEMORY;
    return static_cast<u32>(mvrpPortEntryEnable(port));
}

u32 mvrpPortSwitchOff(MvrpPortEntry* port) {
    if (port == nullptr)
        return kStatusOk;
    const s32 result = mvrpPortEntryDisable(port);
    if (result != 0)
        return static_cast<u32>(result);
    mvrpPortVlanDel();
    mvrpPortEntryDel(port);
    return kStatusOk;
}

u32 mvrpPortEnableSet(MvrpPortEntry* port, const MvrpPortChange& change) {
    u32 status = mvrpPortEligible(change.unit);
    if (status != kStatusOk)
        return status;
    status = mvrpPortReplicate(change);
    if (status != kStatusOk)
        return status;
    return *change.value == MVRP_ON ? mvrpPortSwitchOn(port, change.unit) : mvrpPortSwitchOff(port);
}

u32 mvrpRegistrationSet(MvrpPortEntry* port, const MvrpPortChange& change) {
    if (*change.value == port->registration_mode)
        return kStatusOk;
    const u32 status = mvrpPortReplicate(change);
    if (status != kStatusOk)
        return status;
    port->registration_mode = static_cast<u8>(*change.value & kModeMask);
    const s32 result = mvrpSetPortRegistration(port);
    if (port->registration_mode == MVRP_REGISTRATION_NORMAL)
        mvrpPortModeNormal(port);
    return static_cast<u32>(result);
}

u32 mvrpParticipantSet(MvrpPortEntry* port, const MvrpPortChange& change) {
    if (*change.value == port->participant_mode)
        return kStatusOk;
    const u32 status = mvrpPortReplicate(change);
    if (status == kStatusOk)
        port->participant_mode = static_cast<u8>(*change.value & kModeMask);
    return status;
}

u32 mvrpPeriodSet(MvrpPortEntry* port, const MvrpPortChange& change) {
    const u32 status = mvrpPortReplicate(change);
    if (status != kStatusOk)
        return status;
    if (*change.value == 0) {
        silTimerStop(&gMvrpInfo.timerList, &port->periodTransTimer);
    } else if (port->period_trans_timeout == 0) {
        // Armed with the old setting, so at once; its expiry does nothing.
        mvrpPortTimerRestart(port, &port->periodTransTimer, port->period_trans_timeout,
                             mvrpPeriodTransTimerHandler);
    }
    port->period_trans_timeout = *change.value;
    return kStatusOk;
}

u32 mvrpJoinTimeoutSet(MvrpPortEntry* port, const MvrpPortChange& change) {
    if (!kMvrpJoinTime.allows(*change.value) ||
        *change.value > port->leave_timeout / kMvrpJoinsPerLeave)
        return MVRP_ERR_RANGE;
    const u32 status = mvrpPortReplicate(change);
    if (status == kStatusOk)
        port->join_timeout = static_cast<u16>(*change.value);
    return status;
}

u32 mvrpLeaveTimeoutSet(MvrpPortEntry* port, const MvrpPortChange& change) {
    if (!kMvrpLeaveTime.allows(*change.value) ||
        *change.value < kMvrpJoinsPerLeave * port->join_timeout ||
        *change.value > port->leaveAllTimeout)
        return MVRP_ERR_RANGE;
    const u32 status = mvrpPortReplicate(change);
    if (status == kStatusOk)
        port->leave_timeout = static_cast<u16>(*change.value);
    return status;
}

u32 mvrpLeaveAllTimeoutSet(MvrpPortEntry* port, const MvrpPortChange& change) {
    if (!kMvrpLeaveAllTime.allows(*change.value) || *change.value < port->leave_timeout)
        return MVRP_ERR_RANGE;
    const u32 status = mvrpPortReplicate(change);
    if (status != kStatusOk)
        return status;
    port->leaveAllTimeout = *change.value;
    mvrpPortTimerRestart(port, &port->leaveAllTimer, port->leaveAllTimeout,
                         mvrpLeaveallTimerHandler);
    return kStatusOk;
}

u32 mvrpPortChangeApply(const MvrpPortChange& change) {
    MvrpPortEntry* port = mvrpPortEntryGet(change.unit);
    if (port == nullptr && change.attribute != MVRP_PORT_ENABLE)
        return MVRP_ERR_NO_PORT;
    switch (change.attribute) {
        case MVRP_PORT_ENABLE:
            return mvrpPortEnableSet(port, change);
        case MVRP_PORT_REGISTRATION_MODE:
            return mvrpRegistrationSet(port, change);
        case MVRP_PORT_PARTICIPANT_MODE:
            return mvrpParticipantSet(port, change);
        case MVRP_PORT_PERIOD_TIMEOUT:
            return mvrpPeriodSet(port, change);
        case MVRP_PORT_JOIN_TIMEOUT:
            return mvrpJoinTimeoutSet(port, change);
        case MVRP_PORT_LEAVE_TIMEOUT:
            return mvrpLeaveTimeoutSet(port, change);
        case MVRP_PORT_LEAVE_ALL_TIMEOUT:
            return mvrpLeaveAllTimeoutSet(port, change);
        default:
            return MVRP_ERR_ARGUMENT;
    }
}

u32 _mvrpPortSetApi(u32 portUnit, u32 attribute, void* value, MvrpSetMode mode) {
    if (value == nullptr)
        return MVRP_ERR_ARGUMENT;
    mvrpLock();
    const u32 status = mvrpPortChangeApply({portUnit, attribute, static_cast<u32*>(value), mode});
    mvrpUnlock();
    return status;
}

}  // namespace

u32 mvrpPortGetApi(u32 portUnit, u32 attribute, void* value) {
    if (value == nullptr)
        return MVRP_ERR_ARGUMENT;
    mvrpLock();
    const MvrpPortEntry* port = mvrpPortEntryGet(portUnit);
    const u32 status = port == nullptr ? u32{MVRP_ERR_NO_PORT}
                                       : mvrpPortRead(port, attribute, static_cast<u32*>(value));
    mvrpUnlock();
    return status;
}

u32 mvrpPortSetApi(u32 portUnit, u32 attribute, void* value) {
    return _mvrpPortSetApi(portUnit, attribute, value, MVRP_MODE_SET);
}

u32 mvrpPortSyncApi(u32 portUnit, u32 attribute, void* value) {
    return _mvrpPortSetApi(portUnit, attribute, value, MVRP_MODE_SYNC);
}

s32 mvrpSetPortRegistration(MvrpPortEntry* port) {
    if (port->registration_mode != MVRP_REGISTRATION_FORBIDDEN)
        return 0;
    return mvrpDeregisterDynamicVlan(port);
}

const std::array<IcmFunc, 9> gMvrpFuncMap = {{
    {0, std::monostate{}},
    {1, mvrpPortGetFirst},
    {2, mvrpPortGetNext},
    {3, mvrpPortGetApi},
    {4, mvrpPortSetApi},
    {5, mvrpPortSyncApi},
    {6, mvrpScalarGetApi},
    {7, mvrpScalarSetApi},
    {8, mvrpScalarSyncApi},
}};
