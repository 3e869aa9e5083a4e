// SPDX-License-Identifier: MIT
//
// Switching the participant of a port on and off. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/db/port.h"

/// Registers the port's static VLANs, has its frames delivered and starts its timers; an enabled
/// port is left as it is. A platform that refuses the protocol is logged and ignored.
/// @return 0, or -1 when the port's VLANs can not be read
s32 mvrpPortEntryEnable(MvrpPortEntry* port);

/// The port's registration mode has just become normal: with the correction on-declares an enabled
/// port declares what it missed meanwhile, and withdraws what nobody has registered any more.
void mvrpPortModeNormal(MvrpPortEntry* port);

/// Undoes that, puts the timers and the registration mode back to their defaults and withdraws the
/// VLANs learnt on the port. The entry stays in the table.
/// @return 0, or -1 when GVRP can not be disabled; the VLANs stay then
s32 mvrpPortEntryDisable(MvrpPortEntry* port);
