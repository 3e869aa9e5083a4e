// SPDX-License-Identifier: MIT
//
// Transmission of MVRP PDUs: applicant states become vectors, and each attribute written feeds its
// sent event back into the machine. Lock: gMvrpInfo.sem held by the caller.
//
// The senders do not look at the link: a frame sent out of a port without one is the platform's to
// lose.
#pragma once

#include <span>

#include "daemon/db/port.h"
#include "daemon/fsm/states.h"

/// Sends the port's declarations, in as many PDUs as they need (one empty PDU for none), and keeps
/// the join cycle going. `port` may be null.
/// @return 0; -1 when the port is absent or disabled or GVRP compliance is on
s32 mvrpPortSendPkt(MvrpPortEntry* port);

/// The same for a port that would send what gMvrpSentBefore keeps, and stands already as if it had.
void mvrpPortSendAgain(MvrpPortEntry* port);

/// Sends the port's fixed registrations (registrar INF). @return as mvrpPortSendPkt()
s32 mvrpPortSendJoinPkt(MvrpPortEntry* port);

/// Sends a LeaveAll PDU. What does not fit into one PDU is not sent.
/// @return the result of the last mvrpSendPdu(), or -1 for an absent port
s32 mvrpSendLeaveallPkt(MvrpPortEntry* port);

/// Write one vector for the VLANs endVlan - count to endVlan - 1 at the start of `out` (4 bytes and
/// one for every three VLANs) and apply the sent events.
/// @return bytes written, or -1: no room, or (LeaveAll) an applicant state that has no event
s32 mvrpVectorBuild(MvrpPortEntry* port, u32 endVlan, u32 count, std::span<u8> out);
s32 mvrpLeaveallVectorBuild(MvrpPortEntry* port, u32 endVlan, u32 count, std::span<u8> out);
/// The same with JoinMt for every value. No operation of the daemon calls it.
s32 mvrpJoinVectorBuild(MvrpPortEntry* port, u32 endVlan, u32 count, std::span<u8> out);

/// Whether the applicant of a VLAN has something to declare: it neither observes nor is quiet.
constexpr bool mvrpDeclares(u8 machine) {
    constexpr u32 kQuiet =
        1U << APP_STATE_VO | 1U << APP_STATE_AO | 1U << APP_STATE_QO | 1U << APP_STATE_QP;
    return (kQuiet >> mvrpApplicant(machine) & 1U) == 0;
}

/// What a port declares: attribute events by index, and 0 where it declares nothing, as behind the
/// last VLAN, so that four can be read from each on.
using MvrpDeclaredEvents = std::array<u8, kMvrpVlanCount + 4>;

/// Works out what all VLANs of a port declare, and applies it as sent.
/// @return false, with nothing done, where each VLAN is a matter of its own, as in
/// mvrpVectorBuild()
bool mvrpDeclarationsTake(MvrpPortEntry* port, MvrpDeclaredEvents* declared);

/// Writes the vector of `count` VLANs of what was taken: 4 bytes, and one for every three VLANs.
/// @return bytes written
u32 mvrpDeclaredVectorWrite(const MvrpDeclaredEvents& declared, u32 index, u32 count, u8* out);

/// Frames one PDU body and writes it to the MVRP data socket. @return the socket's result
s32 mvrpSendPdu(MvrpPortEntry* port, std::span<const u8> body);
