// SPDX-License-Identifier: MIT
//
// Reading of route messages. A field that a short message does not hold reads as zero, and nothing
// is read or written beyond the message.
#pragma once

#include <cstring>
#include <span>

#include "platform/contract/types.h"

/// Messages and attributes start at multiples of this.
inline constexpr size_t kMvrpRouteAlignment = 4;
inline constexpr size_t kMvrpRouteHeaderBytes = 24;
/// Where the attributes of a link message begin.
inline constexpr size_t kMvrpLinkAttributesAt = 48;

/// Places of the fields, from the start of the message.
enum MvrpRouteField : size_t {
    ROUTE_LENGTH = 0,             ///< u32, header included
    ROUTE_TYPE = 4,               ///< u16
    ROUTE_LINK_INTERFACE = 28,    ///< u32
    ROUTE_LINK_CHANGE_MASK = 36,  ///< u32
    ROUTE_LINK_VLAN = 44,         ///< u32
    ROUTE_RESET_INTERFACE = 28,   ///< u32
    ROUTE_TUNNEL_INTERFACE = 24,  ///< u32
    ROUTE_TUNNEL_OPERATION = 29,  ///< u8
    ROUTE_TUNNEL_MAC = 30,        ///< 6 bytes
};

enum MvrpRouteType : u16 {
    ROUTE_NEW_LINK = 0x20,
    ROUTE_DEL_LINK = 0x21,
    ROUTE_RESET = 0x144,
    ROUTE_TUNNEL_MAC_CHANGE = 0x185,
};

/// Change mask of a link message about an interface that was just created.
inline constexpr u32 kMvrpLinkCreated = 0xFFFFFFFF;

/// Attributes of a link message that the daemon acts on.
enum MvrpLinkAttribute : u16 {
    LINK_STATE = 16,           ///< u8: 1 up
    LINK_VLAN_TYPE = 40,       ///< u32: new type of the VLAN that the interface is
    LINK_ELIGIBLE = 41,        ///< u32: anything but 1 takes the port out of the protocol
    LINK_AGGREGATION = 52,     ///< u32: index of the aggregation that the port joined
    LINK_MEMBER_ADDED = 64,    ///< u32: port added to the VLAN that the message names
    LINK_MEMBER_REMOVED = 65,  ///< u32: port removed from it
};

constexpr size_t mvrpRouteAlign(size_t length) {
    return (length + kMvrpRouteAlignment - 1) & ~(kMvrpRouteAlignment - 1);
}

/// A field of type T; zero when `bytes` ends before it does.
template <class T>
T mvrpRouteRead(std::span<const u8> bytes, size_t at) {
    T value = 0;
    if (at + sizeof(T) <= bytes.size())
        std::memcpy(&value, bytes.data() + at, sizeof(T));
    return value;
}

/// Overwrites a u32 field that the message holds.
inline void mvrpRouteWrite(std::span<u8> bytes, size_t at, u32 value) {
    if (at + sizeof(value) <= bytes.size())
        std::memcpy(bytes.data() + at, &value, sizeof(value));
}
