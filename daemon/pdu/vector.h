// SPDX-License-Identifier: MIT
//
// The vector of an MVRP PDU: a header of LeaveAll event and number of values, the first value, and
// attribute events packed three to a byte (the ThreePackedEvents of IEEE 802.1Q).
#pragma once

#include "platform/contract/types.h"

/// Attribute events of IEEE 802.1Q.
enum MvrpAttributeEvent : u32 {
    MVRP_ATTRIBUTE_NEW = 0,
    MVRP_ATTRIBUTE_JOIN_IN = 1,
    MVRP_ATTRIBUTE_IN = 2,
    MVRP_ATTRIBUTE_JOIN_MT = 3,
    MVRP_ATTRIBUTE_MT = 4,
    MVRP_ATTRIBUTE_LV = 5,
};

inline constexpr u32 kMvrpEndMark = 0x0000;
inline constexpr u32 kMvrpEndMarkBytes = 2;
inline constexpr u32 kMvrpLeaveAllBit = 0x2000;
inline constexpr u32 kMvrpValueCountMask = 0x1FFF;

/// Vector header and first value.
inline constexpr u32 kMvrpVectorHeaderBytes = 4;

inline constexpr u32 kMvrpEventsPerByte = 3;
/// Weights of the first and second event of a packed byte; the third weighs 1.
inline constexpr u32 kMvrpFirstEventWeight = 36;
inline constexpr u32 kMvrpSecondEventWeight = 6;

/// Packed bytes of a vector of `count` values.
constexpr u32 mvrpPackedBytes(u32 count) {
    return (count + kMvrpEventsPerByte - 1) / kMvrpEventsPerByte;
}

/// Event at `position` (0 to 2) of a packed byte. The first of a byte of 216 or more is 6 or 7.
constexpr u32 mvrpEventUnpack(u8 packed, u32 position) {
    const u32 first = packed / kMvrpFirstEventWeight;
    if (position == 0)
        return first;
    if (position == 1)
        return (packed - kMvrpFirstEventWeight * first) / kMvrpSecondEventWeight;
    return packed % kMvrpSecondEventWeight;
}
