// SPDX-License-Identifier: MIT
//
// Static registration: a VLAN configured on a port is, for the protocol, a registration that no PDU
// made. And deregistration of a whole port. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/db/port.h"

/// Set a fixed registration, or withdraw one. REG-BIT is touched only under GVRP compliance, or
/// with the correction static-kept.
/// @return 0
u32 mvrpPortAddStaticVlan(MvrpPortEntry* port, u32 vid);
u32 mvrpPortDelStaticVlan(MvrpPortEntry* port, u32 vid);

/// Registers the static VLANs that the port carries. @return 0; -1 when they can not be read
s32 mvrpRegisterStaticVlans(MvrpPortEntry* port);

/// Clears REG-BIT of the VLANs on the port, withdraws them from the other ports, whether the port
/// had registered them or not, and has those send.
void mvrpRegistrationsWithdraw(MvrpPortEntry* port, const MvrpVlanBitmap& vlans);

/// Withdraws the port's dynamic VLANs from the other ports, and the port from them.
/// @return 0; -1 when they can not be read
s32 mvrpDeregisterDynamicVlan(MvrpPortEntry* port);

/// The same for all the port's VLANs but VLAN 1. No operation of the daemon calls it.
s32 mvrpDeregisterAllVlans(MvrpPortEntry* port);

/// Declares the static VLANs that the port carries, from `firstVid` on, as if another port had
/// registered them, and drops what is pending for them. `operation` begins the trace lines.
void mvrpPortDeclareStaticVlans(MvrpPortEntry* port, u32 firstVid, const char* operation);
