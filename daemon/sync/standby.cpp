// SPDX-License-Identifier: MIT
#include "daemon/sync/standby.h"

#include <algorithm>
#include <cstring>

#include "daemon/base/byte_map.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/sync/message.h"
#include "platform/contract/qor_hwil.h"

namespace {

/// Control block of a message: word 0, and the place of its length.
constexpr u32 kSyncControlMode = 0x80000303;
constexpr u32 kSyncControlLengthWord = 4;

constexpr u32 kRunningRole = 3;
constexpr u32 kSlotTypeQuery = 0x1F4002B;

void mvrpWriteField(u8* at, u32 value, u32 bytes) {
    for (u32 i = 0; i < bytes; ++i)
        at[i] = static_cast<u8>(value >> 8U * (bytes - 1 - i));
}

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
    const u32 result = qorHwilCmdSyncApi(0, kMvrpSyncCommand, &command, &reply);
    if ((gMvrpInfo.debug & (MVRP_DEBUG_TRANSMIT | MVRP_DEBUG_PACKET)) != 0) {
        loggingDebugOutput(kMvrpLogBase + MVRP_LOG_SYNC_SEND,
                           gMvrpInfo.logLevel[MVRP_LOG_SYNC_SEND], 0,
                           "Send sync packet. (len=%u, ret=%d)\r\n", length, result);
    }
    return result;
}

}  // namespace

u32 gMvrpSyncDebug;

u32 mvrpVlanSyncPktBuild(const MvrpPortEntry* port, u32 type, std::span<u8> buffer) {
    if (buffer.size() < kMvrpSyncBuildBytes)
        return 0;
    const u8 typeByte = static_cast<u8>(type);
    buffer[kMvrpSyncTypeAt] = typeByte;
    mvrpWriteField(&buffer[kMvrpSyncLengthAt], kMvrpSyncMessageBytes, sizeof(u16));
    mvrpWriteField(&buffer[kMvrpSyncUnitAt], port->portunit, sizeof(u32));

    MvrpVlanBitmap listed;
    gMvrpBytes.mark(std::span(port->vlanFlag).first(kMvrpVlanCount), kMvrpAppliedFlags, &listed);
    const u8 inverted = typeByte == MVRP_SYNC_ADD ? 0 : 0xFF;
    for (u8& byte : listed)
        byte = static_cast<u8>(byte ^ inverted);
    // The default VLAN is never listed; neither is what is no VLAN ID. Their bits stay as they are.
    const std::span<u8> bitmap = buffer.subspan(kMvrpSyncBitmapAt, kVlanBitmapBytes);
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

u32 mvrpRunningRoleGet() {
    return kRunningRole;
}

u32 mvrpSlotTypeGet(void* out, u32 /*unused1*/, u32 /*unused2*/, u32 argument) {
    return qorHwilSlotGet(out, kSlotTypeQuery, 0, argument);
}
