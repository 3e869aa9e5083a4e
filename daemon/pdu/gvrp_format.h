// SPDX-License-Identifier: MIT
//
// The attributes of a GVRP PDU (GARP VLAN Registration Protocol).
#pragma once

#include "platform/contract/types.h"

/// Attribute events of GARP.
enum GvrpAttributeEvent : u8 {
    GVRP_ATTRIBUTE_LEAVE_ALL = 0,
    GVRP_ATTRIBUTE_JOIN_EMPTY = 1,
    GVRP_ATTRIBUTE_JOIN_IN = 2,
    GVRP_ATTRIBUTE_LEAVE_EMPTY = 3,
    GVRP_ATTRIBUTE_LEAVE_IN = 4,
    GVRP_ATTRIBUTE_EMPTY = 5,
};

/// Length byte of a VLAN attribute and of a LeaveAll, which has no value.
inline constexpr u32 kGvrpVlanAttributeBytes = 4;
inline constexpr u32 kGvrpLeaveAllBytes = 2;

/// VLAN IDs from here on end a PDU; MVRP goes one further.
inline constexpr u32 kGvrpVlanEnd = 4095;
