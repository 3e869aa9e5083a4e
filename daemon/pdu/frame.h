// SPDX-License-Identifier: MIT
//
// What MVRP and GVRP frames have in common: the group address, the 802.3 header with an LLC header
// behind it, and the room of one PDU.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <span>

#include "daemon/db/port.h"
#include "platform/contract/qor_socket.h"

/// Customer bridge MVRP address of IEEE 802.1Q, which GVRP shares.
inline constexpr std::array<u8, 6> kMvrpGroupAddress = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x21};

/// Destination, source and length field.
inline constexpr u32 kMvrpEthernetHeaderBytes = 14;

/// Attribute type of a VLAN identifier, in both protocols.
inline constexpr u8 kMvrpAttributeTypeVlan = 1;

/// Buffer that one PDU body is built into.
inline constexpr u32 kMvrpPduBytes = 1522;
/// Part of a frame's size that a body leaves to headers and end marks.
inline constexpr u32 kMvrpPduReserve = 40;

/// Size that the PDUs of a port are planned for.
inline u32 mvrpPduBound(const MvrpPortEntry* port) {
    return std::min<u32>(port->mtu, kMvrpPduBytes);
}

constexpr u16 mvrpReadBe16(const u8* bytes) {
    return static_cast<u16>(bytes[0] << 8U | bytes[1]);
}

constexpr void mvrpWriteBe16(u8* bytes, u32 value) {
    bytes[0] = static_cast<u8>(value >> 8U);
    bytes[1] = static_cast<u8>(value);
}

inline void mvrpWriteBe32(u8* bytes, u32 value) {
    if constexpr (std::endian::native == std::endian::little)
        value = __builtin_bswap32(value);
    std::memcpy(bytes, &value, sizeof(value));
}

inline u32 mvrpReadLe32(const u8* bytes) {
    u32 value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    return std::endian::native == std::endian::little ? value : __builtin_bswap32(value);
}

/// Writes destination, source and length of a frame whose header, up to the body, fills `header`.
void mvrpFrameHeaderBegin(std::span<u8> header, const MvrpPortEntry* port, size_t bodyBytes);

/// Sends header and body out of the port as one frame. @return the socket's result
ssize_t mvrpFrameSend(s32 socket, const MvrpPortEntry* port, u16 addressProtocol,
                      std::span<const u8> header, std::span<const u8> body);
