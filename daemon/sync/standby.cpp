// SPDX-License-Identifier: MIT
#include "daemon/sync/standby.h"

#include <algorithm>
#include <cstring>

#include "daemon/core/byte_map.h"
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

constexpr MvrpByteMarks kMvrpAppliedFlags =
    mvrpByteMarks([](u8 flag) { return mvrpBitTest(&flag, MVRP_FLAG_APPLIED) != 0; });

/// The platform's answer whether a standby is there.
u32 mvrpStandbyAsk() {
    return qorHwilScalarGet(0, kHwilScalarStandby, nullptr);
}

/// Sends a message to the standby, which is there. @return its answer
u32 mvrpSyncPktHandOver(std::span<u8> message) {
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

    MvrpVlanBitmap listed;
    gMvrpBytes.mark(std::span(port->vlanFlag).first(kMvrpVlanCount), kMvrpAppliedFlags, &listed);
    const u8 inverted = typeByte == MVRP_SYNC_ADD ? 0 : 0xFF;
    for (u8& byte : listed)
        byte = static_cast<u8>(byte ^ inverted);
    // The default VLAN is never listed; neither is what is no VLAN ID. Their bits stay as they are.
    const std::span<u8> bitmap = buffer.subspan(kBitmapAt, kVlanBitmapBytes);
    constexpr u32 kBeyondLast = kMvrpVlanLast;
    for (const u32 index : {kMvrpDefaultVlan - 1, kBeyondLast}) {
        mvrpBitClear(listed.data(), index);
        if (mvrpBitTest(bitmap.data(), index) != 0)
            mvrpBitSet(listed.data(), index);
    }
    std::copy(listed.begin(), listed.end(), bitmap.begin());
    return kMvrpSyncMessageBytes;
}

u32 mvrpSyncPktSend(std::span<u8> message) {
    if (message.empty())
        return kStatusOk;
    const u32 standby = mvrpStandbyAsk();
    return standby != kStatusOk ? standby : mvrpSyncPktHandOver(message);
}

void mvrpSyncPort(const MvrpPortEntry* port, MvrpSyncType type) {
    // Asked first: a switch without a standby, which most are, builds no message.
    if (mvrpStandbyAsk() != kStatusOk)
        return;
    MvrpSyncBuffer buffer = {};
    const u32 length = mvrpVlanSyncPktBuild(port, type, buffer);
    mvrpSyncPktHandOver(std::span<u8>(buffer).first(length));
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
