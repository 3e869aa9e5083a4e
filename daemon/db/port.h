// SPDX-License-Identifier: MIT
//
// The port table: one MvrpPortEntry, the MRP participant of a port, for every port on which MVRP
// has been switched on by management. Entries exist only while MVRP is globally enabled.
//
// Lock: all functions run with gMvrpInfo.sem held by the caller.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "daemon/base/bitmap.h"
#include "daemon/base/byte_map.h"
#include "daemon/base/info.h"
#include "daemon/base/trace.h"
#include "platform/contract/qor_if.h"

/// MvrpPortEntry::joinTimerFlag: what the next expiry of the join timer sends.
enum MvrpJoinTimerFlag : u8 {
    MVRP_JOIN_NOTHING = 0,
    MVRP_JOIN_FULL = 1,        ///< the port's declarations
    MVRP_JOIN_FIXED_ONLY = 2,  ///< MVRP: fixed registrations; GVRP: forwarded joins
};

/// Bit indexes of a `vlanFlag` byte.
enum MvrpVlanFlag : u32 {
    MVRP_FLAG_APPLIED = 0,  ///< 0x80: the port is a dynamic member of the VLAN on the switch
    MVRP_FLAG_ADD = 1,      ///< 0x40: addition pending
    MVRP_FLAG_REMOVE = 2,   ///< 0x20: removal pending
};

/// Flags of the VLANs that the port is a dynamic member of.
inline constexpr MvrpByteMarks kMvrpAppliedFlags =
    mvrpByteMarks([](u8 flag) { return mvrpBitTest(&flag, MVRP_FLAG_APPLIED) != 0; });

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

/// Stops a slot of the port and starts it anew, with the port as the handler's argument.
void mvrpPortTimerRestart(MvrpPortEntry* port, SilTimerNode* slot, u32 ms, SilTimerHandler handler);
/// Stops the port's five slots: join, leave, periodic, vector join, leave-all.
void mvrpPortTimersStop(MvrpPortEntry* port);

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

/// Marks a VLAN of a port for removal from the switch, in place of a pending addition.
void mvrpVlanFlagRemovePending(MvrpPortEntry* port, u32 vid);
/// Clears what is applied and pending for a VLAN of a port.
void mvrpVlanFlagReset(MvrpPortEntry* port, u32 vid);

/// Empties the port's set of learnt VLANs, then tells the VLAN service to drop the learnt VLANs of
/// the bitmap. @return 0, or -1 when the platform refused either
s32 mvrpPortVlanClear(QorBuffer* bitmapDescriptor, MvrpPortEntry* port);

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
