// SPDX-License-Identifier: MIT
//
// Which VLANs a port may register: those of its permit list, and no more than so many at a time.
// The host is asked before a registration is made and hears of it again when it becomes a
// membership, so what was admitted in between is remembered here. A policy that is tightened takes
// nothing away: what is registered stays until it is withdrawn.
//
// Plain records and what follows from them; owned and locked by StateSwitch. Nothing here makes a
// system call or allocates, but keepRegistered(), which belongs to a change of the configuration.
#pragma once

#include "platform/switch/switch_state.h"

namespace platform {

/// Whether the port may register every VLAN, as many as there are, as its policy is now.
bool admitsAll(const SwitchPort& port);

/// Whether the port may register the VLAN now; remembers it then.
/// @param nowMs  asked only when the port is full; never goes back
Admission admitVlan(SwitchPort& port, u32 vid, u64 (*nowMs)());

/// Of a port whose configuration became another: carries over what was admitted, and keeps what is
/// registered on it and not permitted any more. Says so in the log.
/// @param before        the port until now, with its memberships
/// @param next          the port from now on, with the memberships that it keeps
/// @param dynamicVlans  VLANs that stay dynamic: one that becomes static is another matter
void keepRegistered(const SwitchPort& before, const VlanBitmap& dynamicVlans, SwitchPort& next);

}  // namespace platform
