// SPDX-License-Identifier: MIT
#include "daemon/sync/standby.h"

#include <algorithm>
#include <cstring>

#include "daemon/core/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/mgmt/config.h"
#include "platform/contract/qor_hwil.h"

namespace {

/// Places of the fields of a message; byte 1 is not written. Multi-byte fields are big-endian.
constexpr u32 kTypeAt = 0;
constexpr u32 kLengthAt = 2;
constexpr u32 kUnitAt = 4;
constexpr u32 kBitmapAt = 8;
static_assert(kBitmapAt + kVlanBitmapBytes == kMvrpSyncMessageBytes);

/// Control block of a message: word 0, and the place of its length.
constexpr u32 kSyncControlMode = 0x80000303;
constexpr u32 kSyncControlLengthWord = 4;

constexpr u32 kRunningRole = 3;
constexpr u32 kSlotTypeQuery = 0x1F4002B;

void mvrpWriteField(u8* at, u32 value, u32 bytes) {
    for (u32 i = 0; i < bytes; ++i)
        at[i] = static_cast<u8>(value >> 8U * (bytes - 1 - i));
}

u32 mvrpReadUnit(std::span<const u8> message) {
    u32 unit = 0;
    for (u32 i = 0; i < sizeof(unit); ++i)
        unit = unit << 8U | message[kUnitAt + i];
    return unit;
}

/// Whether the flags of the eight VLANs from `index` on are all 0.
bool mvrpFlagsIdle(const MvrpPortEntry* port, u32 index) {
    u64 eight = 0;
    std::memcpy(&eight, &port->vlanFlag[index], sizeof(eight));
    return eight == 0;
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

u32 gMvrpSyncDebug;

u32 mvrpVlanSyncPktBuild(const MvrpPortEntry* port, u32 type, std::span<u8> buffer) {
    if (buffer.size() < kMvrpSyncBuildBytes)
        return 0;
    const u8 typeByte = static_cast<u8>(type);
    buffer[kTypeAt] = typeByte;
    mvrpWriteField(&buffer[kLengthAt], kMvrpSyncMessageBytes, sizeof(u16));
    mvrpWriteField(&buffer[kUnitAt], port->portunit, sizeof(u32));

    u8* bitmap = &buffer[kBitmapAt];
    const u32 listed = typeByte == MVRP_SYNC_ADD ? 1 : 0;
    for (u32 index = kMvrpDefaultVlan; index < kMvrpVlanLast; ++index) {
        if (index % 8 == 0 && index + 8 <= kMvrpVlanLast && mvrpFlagsIdle(port, index)) {
            bitmap[index / 8] = listed == 0 ? 0xFF : 0;
            index += 7;
            continue;
        }
        if (mvrpBitTest(&port->vlanFlag[index], MVRP_FLAG_APPLIED) == listed)
            mvrpBitSet(bitmap, index);
        else
            mvrpBitClear(bitmap, index);
    }
    return kMvrpSyncMessageBytes;
}

u32 mvrpSyncPktSend(std::span<u8> message) {
    if (message.empty())
        return kStatusOk;
    const u32 standby = qorHwilScalarGet(0, kHwilScalarStandby, nullptr);
    if (standby != kStatusOk)
        return standby;

    const u32 length = static_cast<u32>(message.size());
    QorBuffer command = {message.data(), length};
    QorCommandControl reply = {};
    reply.words[0] = kSyncControlMode;
    reply.words[kSyncControlLengthWord] = length;
    const u32 result =
        qorHwilCmdSyncApi(0, kMvrpScalarCommandBase + MVRP_SCALAR_SYNC_PACKET, &command, &reply);
    if ((gMvrpInfo.debug & (MVRP_DEBUG_TRANSMIT | MVRP_DEBUG_PACKET)) != 0) {
        loggingDebugOutput(kMvrpLogBase + MVRP_LOG_SYNC_SEND,
                           gMvrpInfo.logLevel[MVRP_LOG_SYNC_SEND], 0,
                           "Send sync packet. (len=%u, ret=%d)\r\n", length, result);
    }
    return result;
}

void mvrpSyncPort(const MvrpPortEntry* port, MvrpSyncType type) {
    MvrpSyncBuffer buffer = {};
    const u32 length = mvrpVlanSyncPktBuild(port, type, buffer);
    mvrpSyncPktSend(std::span<u8>(buffer).first(length));
}

u32 mvrpSyncPktRecv(const QorBuffer* command) {
    if (command->length > kMvrpSyncBufferBytes)
        return MVRP_ERR_ARGUMENT;
    MvrpSyncBuffer buffer = {};
    if (command->data != nullptr)
        std::memcpy(buffer.data(), command->data, command->length);
    const u8 type = buffer[kTypeAt];
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
    const MvrpSyncApply sync = {unit, {&message[kBitmapAt], kVlanBitmapBytes}};
    if (message[kTypeAt] == MVRP_SYNC_ADD)
        mvrpSyncAdd(sync, carried);
    else
        mvrpSyncRemove(sync);
    return kStatusOk;
}

u32 mvrpRunningRoleGet() {
    return kRunningRole;
}

u32 mvrpSlotTypeGet(void* out, u32 /*unused1*/, u32 /*unused2*/, u32 argument) {
    return qorHwilSlotGet(out, kSlotTypeQuery, 0, argument);
}
