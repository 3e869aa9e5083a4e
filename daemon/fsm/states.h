// SPDX-License-Identifier: MIT
//
// The MRP applicant and registrar of one VLAN on one port, packed into one byte (`madMachine`):
// applicant state in bits 7-4, registrar state in bits 3-2, REG-BIT and PROPAGATE-BIT. The events,
// and what a byte says.
#pragma once

#include "platform/contract/machine_states.h"
#include "platform/contract/types.h"

/// Bit indexes of the two flags in a machine byte, for the helpers of base/bitmap.h.
enum MvrpMachineFlag : u32 {
    MVRP_REG_BIT = 6,        ///< 0x02: registered on this port
    MVRP_PROPAGATE_BIT = 7,  ///< 0x01: declared on this port because another port registered it
};

/// Rows of the MVRP tables.
enum MvrpEvent : u32 {
    MVRP_EVENT_BEGIN = 0,
    MVRP_EVENT_NEW = 1,
    MVRP_EVENT_JOIN = 2,
    MVRP_EVENT_LEAVE = 3,
    MVRP_EVENT_R_NEW = 4,
    MVRP_EVENT_R_JOIN_IN = 5,
    MVRP_EVENT_R_JOIN_IN_NO_OBSERVE = 6,  ///< rJoinIn in participant mode 2
    MVRP_EVENT_R_IN = 7,
    MVRP_EVENT_R_MT = 8,
    MVRP_EVENT_R_JOIN_MT = 9,
    MVRP_EVENT_R_LV = 10,
    MVRP_EVENT_R_LA = 11,
    MVRP_EVENT_R_LV_LA_QUIET = 12,  ///< rLv or rLA in participant mode 3
    MVRP_EVENT_SPARE_13 = 13,
    MVRP_EVENT_PERIODIC = 14,
    MVRP_EVENT_NEW_SENT_IN = 15,   ///< registrar IN or INF
    MVRP_EVENT_NEW_SENT_OUT = 16,  ///< registrar LV or MT
    MVRP_EVENT_JOIN_SENT = 17,
    MVRP_EVENT_MT_SENT = 18,
    MVRP_EVENT_IN_SENT = 19,
    MVRP_EVENT_LV_SENT = 20,
    MVRP_EVENT_LEAVE_TIMER_GVRP = 21,  ///< leave timer, GVRP compliance on
    MVRP_EVENT_LEAVE_TIMER = 22,       ///< leave timer, GVRP compliance off
    MVRP_EVENT_SPARE_23 = 23,
    MVRP_EVENT_IN_LEAVE_ALL = 24,    ///< VLAN carried in an own LeaveAll vector
    MVRP_EVENT_LEAVE_ALL_SENT = 25,  ///< own LeaveAll sent
    MVRP_EVENT_STATIC_REMOVED = 26,
    MVRP_EVENT_SPARE_27 = 27,
    MVRP_EVENT_SPARE_28 = 28,
    MVRP_EVENT_COUNT = 29,
};

/// Rows of the GVRP tables.
enum GvrpEvent : u32 {
    GVRP_EVENT_SPARE_0 = 0,
    GVRP_EVENT_R_LEAVE_EMPTY = 1,
    GVRP_EVENT_R_LEAVE_IN = 2,
    GVRP_EVENT_R_EMPTY = 3,
    GVRP_EVENT_R_JOIN_EMPTY = 4,
    GVRP_EVENT_R_JOIN_IN = 5,
    GVRP_EVENT_JOIN = 6,
    GVRP_EVENT_LEAVE = 7,
    GVRP_EVENT_SPARE_8 = 8,
    GVRP_EVENT_SPARE_9 = 9,
    GVRP_EVENT_SPARE_10 = 10,
    GVRP_EVENT_SPARE_11 = 11,
    GVRP_EVENT_R_LEAVE_ALL = 12,
    GVRP_EVENT_SPARE_13 = 13,
    GVRP_EVENT_LEAVE_EMPTY_SENT = 14,
    GVRP_EVENT_LEAVE_IN_SENT = 15,
    GVRP_EVENT_EMPTY_SENT = 16,
    GVRP_EVENT_JOIN_EMPTY_SENT = 17,
    GVRP_EVENT_JOIN_IN_SENT = 18,
    GVRP_EVENT_SPARE_19 = 19,
    GVRP_EVENT_SPARE_20 = 20,
    GVRP_EVENT_LEAVE_TIMER_GVRP = 21,  ///< leave timer, GVRP compliance on
    GVRP_EVENT_LEAVE_TIMER = 22,       ///< leave timer, compliance off; any unknown received event
    GVRP_EVENT_COUNT = 23,
};

/// Which tables an event is looked up in: this value selects the MVRP tables, every other (a
/// `peerMode` of 0 among them) the GVRP tables.
enum MvrpProtocol : u32 { MVRP_PROTOCOL_MVRP = 1, MVRP_PROTOCOL_GVRP = 2 };

/// How a machine begins. Any value but static means dynamic.
enum MvrpMachineKind : u32 { MVRP_MACHINE_DYNAMIC = 1, MVRP_MACHINE_STATIC = 2 };

constexpr u32 mvrpApplicant(u8 machine) {
    return machine >> 4U;
}

constexpr u32 mvrpRegistrar(u8 machine) {
    return (machine >> 2U) & 3U;
}

/// True when the registrar is IN or INF.
constexpr bool mvrpRegistrarIn(u8 machine) {
    return mvrpRegistrar(machine) == REG_STATE_IN || mvrpRegistrar(machine) == REG_STATE_INF;
}

/// True while REG-BIT or PROPAGATE-BIT of the VLAN is set on the port.
constexpr bool mvrpVlanActive(u8 machine) {
    constexpr u8 kFlags = 0x03;
    return (machine & kFlags) != 0;
}
