// SPDX-License-Identifier: MIT
//
// Scalar attributes: requests 6 to 8 of the command channel.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "daemon/base/lock.h"
#include "daemon/db/port_vlan.h"
#include "daemon/mgmt/command_sync.h"
#include "daemon/mgmt/config.h"
#include "daemon/mgmt/global_mode.h"
#include "daemon/mgmt/standby.h"

namespace {

constexpr std::string_view kVersionText = "MVRP_Vl3.10.00.00";

/// Status read-out: what a caller of scalar 8 gets.
using MvrpStatus = std::array<u32, 3>;
constexpr MvrpStatus kStatusIdle = {1, 0, 2};
constexpr MvrpStatus kStatusWorkWaiting = {2, 4, 2};

u32 mvrpVersionGet(const QorBuffer* text) {
    if (text->data == nullptr || text->length == 0)
        return MVRP_ERR_ARGUMENT;
    std::memcpy(text->data, kVersionText.data(),
                std::min<size_t>(text->length, kVersionText.size()));
    return kStatusOk;
}

u32 mvrpStatusGet(QorBuffer* status) {
    if (status->data == nullptr || status->length < sizeof(MvrpStatus))
        return kStatusFailed;
    status->length = sizeof(MvrpStatus);
    const bool idle = mvrpPairsEmpty();
    std::memcpy(status->data, idle ? &kStatusIdle : &kStatusWorkWaiting, sizeof(MvrpStatus));
    return kStatusOk;
}

/// Replicates a change of a scalar to the store and the standby. @return 0, or why it was refused
u32 mvrpScalarReplicate(u32 attribute, void* value, MvrpSetMode mode) {
    return mvrpCommandSync(0, kMvrpScalarCommandBase + attribute, value, mode);
}

/// Changes one of the two global modes, once the change is replicated.
u32 mvrpModeSet(u32 attribute, u32* value, MvrpSetMode mode, u8 current, u32 (*on)(),
                u32 (*off)()) {
    if (*value == current)
        return kStatusOk;
    const u32 status = mvrpScalarReplicate(attribute, value, mode);
    if (status != kStatusOk)
        return status;
    return *value == MVRP_ON ? on() : off();
}

/// Result of a scalar request, and whether the lock is given back: two paths keep it.
struct MvrpScalarResult {
    u32 status;
    bool keepsLock = false;
};

MvrpScalarResult mvrpScalarApply(u32 attribute, void* value, MvrpSetMode mode) {
    auto* number = static_cast<u32*>(value);
    auto* buffer = static_cast<QorBuffer*>(value);
    switch (attribute) {
        case MVRP_SCALAR_ENABLE:
            return {
                mvrpModeSet(attribute, number, mode, gMvrpInfo.enable, mvrpEnable, mvrpDisable)};
        case MVRP_SCALAR_DEBUG:
            gMvrpInfo.debug = static_cast<u8>(*number);
            return {kStatusOk};
        case MVRP_SCALAR_GVRP_COMPLIANCE:
            if (gMvrpInfo.enable == MVRP_OFF)
                return {MVRP_ERR_DISABLED, true};
            return {mvrpModeSet(attribute, number, mode, gMvrpInfo.gvrpCompliance,
                                mvrpComplianceGvrp, mvrpUncomplianceGvrp)};
        case MVRP_SCALAR_SYNC_PACKET:
            return {mvrpSyncPktRecv(buffer)};
        case MVRP_SCALAR_STATUS: {
            const u32 status = mvrpStatusGet(buffer);
            return {status, status != kStatusOk};
        }
        default:
            return {MVRP_ERR_ARGUMENT};
    }
}

u32 _mvrpScalarSetApi(u32 /*unit*/, u32 attribute, void* value, MvrpSetMode mode) {
    if (value == nullptr)
        return MVRP_ERR_ARGUMENT;
    mvrpLock();
    const MvrpScalarResult result = mvrpScalarApply(attribute, value, mode);
    if (!result.keepsLock)
        mvrpUnlock();
    return result.status;
}

u32 mvrpScalarRead(u32 attribute, void* value) {
    auto* number = static_cast<u32*>(value);
    switch (attribute) {
        case MVRP_SCALAR_ENABLE:
            *number = gMvrpInfo.enable;
            return kStatusOk;
        case MVRP_SCALAR_DEBUG:
            *number = gMvrpInfo.debug;
            return kStatusOk;
        case MVRP_SCALAR_GVRP_COMPLIANCE:
            *number = gMvrpInfo.gvrpCompliance;
            return kStatusOk;
        case MVRP_SCALAR_VERSION:
            return mvrpVersionGet(static_cast<const QorBuffer*>(value));
        case MVRP_SCALAR_MVRP_NUM:
            *number = gMvrpInfo.mvrpNum;
            return kStatusOk;
        case MVRP_SCALAR_ENTRY_NUM:
            *number = gMvrpInfo.vlanEntryNum;
            return kStatusOk;
        default:
            return MVRP_ERR_ARGUMENT;
    }
}

}  // namespace

u32 mvrpScalarGetApi(u32 /*unit*/, u32 attribute, void* value) {
    if (value == nullptr)
        return MVRP_ERR_ARGUMENT;
    mvrpLock();
    const u32 status = mvrpScalarRead(attribute, value);
    mvrpUnlock();
    return status;
}

u32 mvrpScalarSetApi(u32 unit, u32 attribute, void* value) {
    return _mvrpScalarSetApi(unit, attribute, value, MVRP_MODE_SET);
}

u32 mvrpScalarSyncApi(u32 unit, u32 attribute, void* value) {
    return _mvrpScalarSetApi(unit, attribute, value, MVRP_MODE_SYNC);
}
