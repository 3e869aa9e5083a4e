// SPDX-License-Identifier: MIT
//
// Reception of MVRP PDUs. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <span>

#include "daemon/db/port.h"

/// Processes one received PDU of a port, from the protocol version byte on: MVRP, or GVRP while
/// GVRP compliance is on. Reading stops at `length`, in bytes; 0 or less holds nothing. A PDU that
/// is too short, malformed, or for a disabled port is dropped.
void mvrpPktProcess(MvrpPortEntry* port, const u8* pdu, s32 length);

/// Walks the vectors of a PDU, from the first vector header on. A LeaveAll is taken from the first
/// vector only, and ends the walk.
/// @return 0
s32 mvrpVectorProcess(MvrpPortEntry* port, std::span<const u8> vectors);
