// SPDX-License-Identifier: MIT
#include "daemon/mgmt/standby.h"

#include <cstring>

#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port.h"
#include "daemon/mgmt/config.h"

namespace {

static_assert(kMvrpSyncCommand == kMvrpScalarCommandBase + MVRP_SCALAR_SYNC_PACKET);

u32 mvrpReadUnit(std::span<const u8> message) {
    u32 unit = 0;
    for (u32 i = 0; i < sizeof(unit); ++i)
        unit = unit << 8U | message[kMvrpSyncUnitAt + i];
    return unit;
}

/// What one received message is about. Reads and writes the switch, not the port.
struct MvrpSyncApply {
    u32 unit;
    QorBuffer vlans;  ///< the message's bitmap
};

void mvrpSyncAdd(const MvrpSyncApply& sync, const MvrpVlanBitmap& carried) {
    QorBuffer vlans = sync.vlans;
    if (qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::CreateDynamic), &vlans) !=
        kStatusOk) {
        MVRP_TRACE_ID(MVRP_LOG_SYNC_APPLY, MVRP_DEBUG_STATE, sync.unit, 0,
                      "port %u sync vlan failed!\r\n", sync.unit);
        return;
    }
    MvrpVlanBitmap addition = {};
    const std::span<const u8> listed(static_cast<const u8*>(sync.vlans.data), kVlanBitmapBytes);
    mvrpBitmapIntersect(addition, listed, carried, kMvrpBitmapBits);
    QorBuffer added = mvrpBitmapBuffer(addition);
    if (qorIfSyncApi(sync.unit, static_cast<u32>(QorIfAttribute::AddDynamic), &added,
                     kMvrpBitmapBits) != kStatusOk) {
        MVRP_TRACE_ID(MVRP_LOG_SYNC_APPLY, MVRP_DEBUG_STATE, sync.unit, 0,
                      "add dynamic tag vlan to port %d error\r\n", sync.unit);
    }
}

void mvrpSyncRemove(const MvrpSyncApply& sync) {
    // The removal names no VLAN: wanted so. A port that does not run the protocol loses them all.
    MvrpVlanBitmap none = {};
    QorBuffer removed = mvrpBitmapBuffer(none);
    if (qorIfSyncApi(sync.unit, static_cast<u32>(QorIfAttribute::RemoveDynamic), &removed) !=
        kStatusOk) {
        MVRP_TRACE_ID(MVRP_LOG_SYNC_APPLY, MVRP_DEBUG_STATE, sync.unit, 0,
                      "remove dynamic tag vlan to port %d error\r\n", sync.unit);
        return;
    }
    QorBuffer vlans = sync.vlans;
    if (qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::DeleteDynamic), &vlans) !=
        kStatusOk) {
        MVRP_TRACE_ID(MVRP_LOG_SYNC_APPLY, MVRP_DEBUG_STATE, sync.unit, 0,
                      "remove vlan to port %d error\r\n", sync.unit);
    }
}

}  // namespace

u32 mvrpSyncPktRecv(const QorBuffer* command) {
    if (command->length > kMvrpSyncBufferBytes)
        return MVRP_ERR_ARGUMENT;
    MvrpSyncBuffer buffer = {};
    if (command->data != nullptr)
        std::memcpy(buffer.data(), command->data, command->length);
    const u8 type = buffer[kMvrpSyncTypeAt];
    if (type != MVRP_SYNC_ADD && type != MVRP_SYNC_REMOVE)
        return kStatusOk;
    return mvrpVlanSyncRecv(std::span<u8>(buffer).first(kMvrpSyncMessageBytes));
}

u32 mvrpVlanSyncRecv(std::span<u8> message) {
    const u32 unit = mvrpReadUnit(message);
    const MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port == nullptr) {
        MVRP_TRACE_ID(MVRP_LOG_SYNC_APPLY, MVRP_DEBUG_STATE, 0, 0,
                      "port static recv sync msg, but port not exist!\n\r");
        return MVRP_ERR_NO_PORT;
    }
    // The two lines below are written whatever port is debugged.
    MVRP_TRACE_ID(MVRP_LOG_SYNC_APPLY, MVRP_DEBUG_STATE, 0, 0, "port %u static recv sync msg\n\r",
                  unit);
    MvrpVlanBitmap carried = {};
    if (port->enable != 0 && !mvrpPortVlansRead(unit, QorIfAttribute::PermittedTagged, &carried)) {
        MVRP_TRACE_ID(MVRP_LOG_SYNC_APPLY, MVRP_DEBUG_STATE, 0, 0,
                      "get port %u static tag vlan failed\n\r", unit);
    }
    const MvrpSyncApply sync = {unit, {&message[kMvrpSyncBitmapAt], kVlanBitmapBytes}};
    if (message[kMvrpSyncTypeAt] == MVRP_SYNC_ADD)
        mvrpSyncAdd(sync, carried);
    else
        mvrpSyncRemove(sync);
    return kStatusOk;
}
