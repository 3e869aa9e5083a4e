// SPDX-License-Identifier: MIT
//
// Transmission of GVRP PDUs. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <span>

#include "daemon/db/port.h"

/// Sends the port's propagated declarations, as far as its registration mode lets them. @return 0
s32 mvrpGvrpSendJoinPkt(MvrpPortEntry* port);
/// Sends every anxious declaration of the port; each goes out twice. @return 0
s32 mvrpForwardGvrpJoinPkt(MvrpPortEntry* port);
/// Sends a leave for every VLAN whose applicant is leaving. @return 0
s32 mvrpForwardGvrpLeavePkt(MvrpPortEntry* port);
/// Sends a LeaveAll PDU. @return the result of mvrpGvrpSendPdu()
s32 mvrpGvrpSendLeaveallPkt(MvrpPortEntry* port);

/// Frames one PDU body and writes it to the GVRP data socket.
/// @return the socket's result; -1 for a short send
s32 mvrpGvrpSendPdu(MvrpPortEntry* port, std::span<const u8> body);
