// SPDX-License-Identifier: MIT
//
// MRP Attribute Propagation: what one port's registrar gains or loses is declared, or withdrawn, on
// every other enabled port in normal registration mode. All ports form one context. A per-VLAN step
// changes the other ports' applicants, then a per-PDU step makes each of them transmit at once.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/db/port.h"

void mvrpMapPropagateJoin(u32 vid, MvrpPortEntry* source);
/// The same for all VLANs of a bitmap at once.
void mvrpMapPropagateJoins(const MvrpVlanBitmap& vlans, MvrpPortEntry* source);
void mvrpMapPropagateJoinMsgSend(MvrpPortEntry* source);
/// Withdraws unconditionally: whether a third port still registers the VLAN is not asked.
void mvrpMapPropagateLeave(u32 vid, MvrpPortEntry* source);
/// The same for all VLANs of a bitmap at once, without trace lines: while mvrpMapLeavesTraced(),
/// each VLAN is propagated by itself, when it leaves.
void mvrpMapPropagateLeaves(const MvrpVlanBitmap& vlans, MvrpPortEntry* source);
bool mvrpMapLeavesTraced();
void mvrpMapPropagateLeaveMsgSend(MvrpPortEntry* source);

/// Clears the propagation mark of a VLAN that is not static on all other enabled ports, whatever
/// their registration mode; sends nothing. No operation of the daemon calls it.
void mvrpClrPropagate(u32 vid, MvrpPortEntry* source);

/// Turns the registrations that a port lost into pending removals. On return the bitmap holds the
/// dynamic VLANs, and those whose type could not be read. @return 0
u32 mvrpLeaveIndication(QorBuffer* bitmap, MvrpPortEntry* port);
