// SPDX-License-Identifier: MIT
#include "daemon/core/sockets.h"

#include <array>
#include <initializer_list>
#include <span>

#include "daemon/base/info.h"
#include "daemon/base/trace.h"
#include "platform/contract/qor_if.h"
#include "platform/contract/qor_socket.h"

namespace {

constexpr u32 kGvrpReceiveBufferBytes = 0x80000;

/// One socket option to set at start, and what is traced when that fails.
struct MvrpSocketOption {
    int level;
    int option;
    u32 value;
    const char* failure;
    bool (*failed)(int result) = [](int result) { return result != 0; };
};

constexpr std::array<MvrpSocketOption, 2> kMvrpDataOptions = {{
    {kQorLevelSocket, kQorOptionOwner, kProtocolMvrp, "data socket name failed\n\r"},
    {kQorLevelPacket, kQorOptionPacketInfo, 1, "\r\n setsockopt gDot3ahRoot.dataSock failed!"},
}};

constexpr std::array<MvrpSocketOption, 3> kGvrpDataOptions = {{
    {kQorLevelSocket, kQorOptionOwner, kProtocolGvrp, "data socket name failed\n\r"},
    {kQorLevelPacket, kQorOptionPacketInfo, 1,
     "\r\n setsockopt gvrpDataSock rx-pktinfo failed!\r\n"},
    {kQorLevelSocket, kQorOptionReceiveBuffer, kGvrpReceiveBufferBytes,
     "\r\n setsockopt gvrpDataSock rcv-buf failed!\r\n"},
}};

// The route socket is owned by "gvrp", like the GVRP data socket.
constexpr std::array<MvrpSocketOption, 7> kRouteOptions = {{
    {kQorLevelRoute, kQorOptionAddMembership, 34, "route socket add slot grp failed\n\r"},
    {kQorLevelRoute, kQorOptionAddMembership, 33, "route socket add card grp failed\n\r"},
    {kQorLevelRoute, kQorOptionAddMembership, 42, "route socket add system grp failed\n\r"},
    {kQorLevelRoute, kQorOptionAddMembership, 1, "route socket add link grp failed\n\r"},
    {kQorLevelRoute, kQorOptionAddMembership, 85, "route socket add vlan grp failed\n\r"},
    {kQorLevelSocket, kQorOptionOwner, kProtocolGvrp, "route socket name failed\n\r"},
    {kQorLevelSocket, kQorOptionReceiveBuffer, kMvrpRouteReceiveBufferBytes,
     "set rt socket receive buffer failed \n\r",
     // Here a positive result is no failure (docs/compatibility.md).
     [](int result) { return result < 0; }},
}};

bool mvrpSocketOptionsSet(s32 socket, std::span<const MvrpSocketOption> options) {
    for (const MvrpSocketOption& option : options) {
        const int result = qor_setsockopt(socket, option.level, option.option, &option.value,
                                          sizeof(option.value));
        if (option.failed(result)) {
            mvrpStartTrace(option.failure);
            return false;
        }
    }
    return true;
}

bool mvrpSocketCreate(s32* socket, int family, int type, int protocol, const char* failure) {
    *socket = qor_socket(family, type, protocol);
    if (*socket > 0)
        return true;
    mvrpStartTrace(failure);
    return false;
}

bool mvrpMvrpSocketOpen() {
    if (gMvrpInfo.mvrpDataSock > 0)
        return true;
    return mvrpSocketCreate(&gMvrpInfo.mvrpDataSock, kQorFamilyPacket, kQorTypeRaw,
                            kQorProtocolMvrp, "Failed to create mvrp data socket\n\r") &&
           mvrpSocketOptionsSet(gMvrpInfo.mvrpDataSock, kMvrpDataOptions);
}

bool mvrpGvrpSocketOpen() {
    if (gMvrpInfo.gvrpDataSock > 0)
        return true;
    return mvrpSocketCreate(&gMvrpInfo.gvrpDataSock, kQorFamilyPacket, kQorTypeRaw,
                            kQorProtocolGvrp, "Failed to create gvrp data socket\n\r") &&
           mvrpSocketOptionsSet(gMvrpInfo.gvrpDataSock, kGvrpDataOptions);
}

bool mvrpRouteSocketOpen() {
    if (gMvrpInfo.routeSock > 0)
        return true;
    if (!mvrpSocketCreate(&gMvrpInfo.routeSock, kQorFamilyRoute, kQorTypeDatagram, 0,
                          "Failed to create route socket\n\r"))
        return false;

    const QorRouteAddress address = {kQorFamilyRoute, 0, 0, 0};
    if (qor_bind(gMvrpInfo.routeSock, &address, sizeof(address)) < 0) {
        mvrpStartTrace("route socket bind failed\n\r");
        return false;
    }
    if (!mvrpSocketOptionsSet(gMvrpInfo.routeSock, kRouteOptions))
        return false;

    s32 nonBlocking = 1;
    if (qor_ioctl(gMvrpInfo.routeSock, kQorIoctlNonBlocking, &nonBlocking) == -1) {
        mvrpStartTrace("set rt socket non-block failed \n\r");
        return false;
    }
    return true;
}

}  // namespace

bool mvrpSocketsOpen() {
    return mvrpMvrpSocketOpen() && mvrpGvrpSocketOpen() && mvrpRouteSocketOpen();
}

void mvrpSocketsClose() {
    for (s32* socket : {&gMvrpInfo.dbgSock, &gMvrpInfo.routeSock, &gMvrpInfo.gvrpDataSock,
                        &gMvrpInfo.mvrpDataSock}) {
        if (*socket > 0) {
            qor_close(*socket);
            *socket = 0;
        }
    }
}

void mvrpStartTrace(const char* message) {
    MVRP_TRACE_ID(MVRP_LOG_START, MVRP_DEBUG_START, 0, 0, "%s", message);
}
