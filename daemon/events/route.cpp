// SPDX-License-Identifier: MIT
#include "daemon/events/route.h"

#include <algorithm>

#include "daemon/base/trace.h"
#include "daemon/db/port.h"
#include "daemon/events/link.h"
#include "daemon/events/message.h"
#include "daemon/pdu/frame.h"
#include "platform/contract/qor_socket.h"

namespace {

/// Kinds and operations of the two match records of a port.
constexpr u32 kMatchKindInterface = 1;
constexpr u32 kMatchKindMac = 2;
constexpr u8 kMatchOperationInterface = 2;
constexpr u8 kMatchOperationMac = 5;

void mvrpTunnelMacChange(std::span<const u8> message) {
    MVRP_TRACE_ID(MVRP_LOG_EVENT, MVRP_DEBUG_STATE, 0, 0,
                  "mvrpEvtNotifyRecv: QOR_RTM_L2PROTOTUNNEL_MACCHANGE\r\n");
    MvrpMacAddress mac;
    for (size_t i = 0; i < mac.size(); ++i)
        mac[i] = mvrpRouteRead<u8>(message, ROUTE_TUNNEL_MAC + i);
    if (mac != kMvrpGroupAddress)
        return;
    mvrpSocketPktFilter(mvrpRouteRead<u32>(message, ROUTE_TUNNEL_INTERFACE), mac,
                        mvrpRouteRead<u8>(message, ROUTE_TUNNEL_OPERATION));
}

/// @param left  bytes of the buffer from the message's start
void mvrpRouteDispatch(std::span<u8> message, size_t left) {
    const bool linkBody = left - kMvrpRouteHeaderBytes >= kMvrpRouteHeaderBytes;
    switch (mvrpRouteRead<u16>(message, ROUTE_TYPE)) {
        case ROUTE_NEW_LINK:
            if (linkBody)
                mvrpNewLink(message);
            break;
        case ROUTE_DEL_LINK:
            if (linkBody)
                mvrpDelLink(message);
            break;
        case ROUTE_RESET:
            mvrpIfResetConfig(mvrpRouteRead<u32>(message, ROUTE_RESET_INTERFACE));
            break;
        case ROUTE_TUNNEL_MAC_CHANGE:
            mvrpTunnelMacChange(message);
            break;
        default:
            break;
    }
}

}  // namespace

u32 mvrpEvtNotifyRecv(std::span<u8> buffer) {
    while (buffer.size() >= kMvrpRouteHeaderBytes) {
        const size_t length = mvrpRouteRead<u32>(buffer, ROUTE_LENGTH);
        if (length < kMvrpRouteHeaderBytes || length > buffer.size())
            break;
        mvrpRouteDispatch(buffer.first(length), buffer.size());
        buffer = buffer.subspan(std::min(mvrpRouteAlign(length), buffer.size()));
    }
    return kStatusOk;
}

void mvrpIfResetConfig(u32 interfaceIndex) {
    MvrpPortEntry* port = mvrpPortEntryGet(interfaceIndex);
    if (port == nullptr)
        return;
    port->registration_mode = MVRP_REGISTRATION_NORMAL;
    port->participant_mode = MVRP_PARTICIPANT_FULL;
    mvrpPortTimeoutsReset(port);
    mvrpPortWithdraw(port);
}

s32 mvrpSocketPktFilter(u32 interfaceIndex, const MvrpMacAddress& mac, u32 operation) {
    if (operation != MVRP_MATCH_INSTALL && operation != MVRP_MATCH_REMOVE)
        return 0;
    const int option = operation == MVRP_MATCH_INSTALL ? kQorOptionMatchAdd : kQorOptionMatchRemove;

    std::array<QorReceiveMatch, 2> matches = {};
    matches[0] = {interfaceIndex,
                  kMatchKindInterface,
                  kMatchOperationInterface,
                  sizeof(QorReceiveMatch),
                  {},
                  {}};
    std::memcpy(matches[0].value, &interfaceIndex, sizeof(interfaceIndex));
    matches[1] = {
        interfaceIndex, kMatchKindMac, kMatchOperationMac, sizeof(QorReceiveMatch), {}, {}};
    std::copy(mac.begin(), mac.end(), matches[1].value);

    for (const s32 socket : {gMvrpInfo.mvrpDataSock, gMvrpInfo.gvrpDataSock})
        for (const QorReceiveMatch& match : matches)
            if (qor_setsockopt(socket, kQorLevelSocket, option, &match, sizeof(match)) != 0)
                return -1;
    return 0;
}
