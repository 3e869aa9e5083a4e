// SPDX-License-Identifier: MIT
//
// The port table: one MvrpPortEntry, the MRP participant of a port, for every port on which MVRP
// has been switched on by management. Entries exist only while MVRP is globally enabled.
//
// Lock: all functions run with gMvrpInfo.sem held by the caller, but the two that say otherwise.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "daemon/core/info.h"
#include "daemon/core/trace.h"
#include "daemon/db/bitmap.h"
#include "platform/contract/qor_if.h"

/// Timer defaults in milliseconds.
inline constexpr u16 kMvrpJoinTimeoutDefault = 6000;
inline constexpr u16 kMvrpLeaveTimeoutDefault = 30000;
inline constexpr u32 kMvrpLeaveAllTimeoutDefault = 120000;
inline constexpr u32 kMvrpPeriodTimeoutDefault = 1000;

/// MvrpPortEntry::registration_mode, the Registrar Administrative Control of IEEE 802.1Q.
enum MvrpRegistrationMode : u8 {
    MVRP_REGISTRATION_NORMAL = 1,
    MVRP_REGISTRATION_FIXED = 2,
    MVRP_REGISTRATION_FORBIDDEN = 3,
};

/// MvrpPortEntry::participant_mode: which applicant variant a port runs.
enum MvrpParticipantMode : u8 {
    MVRP_PARTICIPANT_FULL = 1,
    MVRP_PARTICIPANT_NO_OBSERVE = 2,  ///< a received JoinIn makes no observer of an idle applicant
    MVRP_PARTICIPANT_QUIET = 3,       ///< sends no event for a VLAN it has not registered
};

/// MvrpPortEntry::joinTimerFlag: what the next expiry of the join timer sends.
enum MvrpJoinTimerFlag : u8 {
    MVRP_JOIN_NOTHING = 0,
    MVRP_JOIN_FULL = 1,        ///< the port's declarations
    MVRP_JOIN_FIXED_ONLY = 2,  ///< MVRP: fixed registrations; GVRP: forwarded joins
};

/// Transmissions after which a change counts as announced: each join goes out this many times.
inline constexpr u8 kMvrpJoinRepeats = 2;

struct MvrpPortEntry {
    MvrpListNode link;
    SilTimerNode joinTimer;
    SilTimerNode leaveTimer;
    SilTimerNode vectorJoinTimer;
    SilTimerNode periodTransTimer;
    SilTimerNode leaveAllTimer;
    u16 join_timeout;          ///< ms
    u16 leave_timeout;         ///< ms
    u32 leaveAllTimeout;       ///< ms
    u32 period_trans_timeout;  ///< ms; 0: no periodic timer
    u32 portunit;              ///< interface index; the key of the table
    void* mvrp_bind_id;        ///< shown by a dump only; never written
    void* gvrpBindId;          ///< the same
    u8 portMac[6];
    u8 madMachine[kMvrpVlanCount];    ///< applicant, registrar and flags, by VLAN ID - 1
    u8 msgNum;                        ///< PDUs sent since the last LeaveAll; wraps
    u16 mtu;                          ///< bytes
    u8 participant_mode : 2;          ///< MvrpParticipantMode
    u8 registration_mode : 2;         ///< MvrpRegistrationMode
    u8 gvrpCompliance : 1;            ///< GVRP is enabled on the port
    u8 enable : 1;                    ///< MVRP runs on the port
    u8 peerMode : 1;                  ///< 1: the peer speaks MVRP; 0: GVRP
    u8 linkState : 1;                 ///< 1: up
    u8 joinTimerFlag;                 ///< MvrpJoinTimerFlag
    u8 vlanFlag[kMvrpVlanCount + 1];  ///< what is applied and pending, by VLAN ID - 1
};

/// Bytes of a port entry in its pool: the record and room for the platform's alignment.
inline constexpr u32 kMvrpPortEntryBytes = 8400;
static_assert(sizeof(MvrpPortEntry) <= kMvrpPortEntryBytes);
static_assert(offsetof(MvrpPortEntry, link) == 0);

/// The first entry of the table, the entry after `entry`; null at the end.
MvrpPortEntry* mvrpPortEntryFirst();
MvrpPortEntry* mvrpPortEntryNext(const MvrpPortEntry* entry);

/// Creates an entry with MVRP off and the defaults, and links it in order of units. Does not look
/// for an entry of the same unit.
/// @return the entry; null when the platform can not describe the port or the pool is exhausted
MvrpPortEntry* mvrpPortEntryAdd(u32 portUnit);

/// @return the entry of a unit, or null
MvrpPortEntry* mvrpPortEntryGet(u32 portUnit);

/// Deletes the port's pending pairs, stops its timers, disables its protocols on the interface, and
/// gives the zeroed entry back to the pool. @return null
MvrpPortEntry* mvrpPortEntryDel(MvrpPortEntry* entry);

/// Enumerate the table in ascending order of units, whatever unit is given. Take the lock.
/// @return 0, or MVRP_ERR_NO_PORT at the end of the table
u32 mvrpPortGetFirst(u32* portUnit);
u32 mvrpPortGetNext(u32 portUnit, u32* nextUnit);

/// Puts the four timer durations back to their defaults.
void mvrpPortTimeoutsReset(MvrpPortEntry* entry);

/// Which way a protocol is switched on an interface; the values are the interface attributes.
enum class MvrpProtocolSwitch : u32 {
    Enable = static_cast<u32>(QorIfAttribute::ProtocolEnable),
    Disable = static_cast<u32>(QorIfAttribute::ProtocolDisable),
};

/// Switches kProtocolMvrp or kProtocolGvrp on the interface of a port. @return the platform's
/// status
u32 mvrpPortProtocolSet(u32 portUnit, MvrpProtocolSwitch direction, u32 protocol);

/// Name of an interface for operator messages. One operation keeps one, zeroed at its start: a name
/// that can not be read leaves the one before in place.
using MvrpInterfaceName = std::array<char, 64>;

/// Writes the operator message about a switch that failed, with the interface's name.
void mvrpPortProtocolFailed(u32 portUnit, MvrpProtocolSwitch direction, u32 protocol,
                            MvrpInterfaceName* name);

/// The machines of a port, by VLAN ID - 1.
inline std::span<u8> mvrpMachines(MvrpPortEntry* port) {
    return port->madMachine;
}
inline std::span<const u8> mvrpMachines(const MvrpPortEntry* port) {
    return port->madMachine;
}

/// Machine byte of the VLAN that summary lines show; 0 for a debug VLAN that no port has.
inline u8 mvrpTraceMachine(const MvrpPortEntry* port) {
    const u32 vid = mvrpTraceVlan();
    return vid <= kMvrpVlanLast ? port->madMachine[vid - 1] : u8{0};
}
