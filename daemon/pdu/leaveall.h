// SPDX-License-Identifier: MIT
//
// A LeaveAll, received or about to be sent: everything registered on a port has to be declared
// anew. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/db/port.h"

/// Applies a received LeaveAll to every active VLAN of the port.
void mvrpRcvLeaveall(MvrpPortEntry* port);
