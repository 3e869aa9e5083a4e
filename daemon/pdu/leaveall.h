// SPDX-License-Identifier: MIT
//
// A LeaveAll, received or about to be sent: everything registered on a port has to be declared
// anew. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/db/port.h"

/// Raises the event of a LeaveAll on every active VLAN of the port, under GVRP compliance not on
/// static ones unless that is corrected: a received LeaveAll in the tables of the peer's protocol,
/// which need not be the one the switch speaks, an own one in those of the switch's. `protocol`:
/// see mvrpFsmChange().
void mvrpLeaveallRaise(MvrpPortEntry* port, u32 protocol);

/// Applies a received LeaveAll to every active VLAN of the port.
void mvrpRcvLeaveall(MvrpPortEntry* port);
