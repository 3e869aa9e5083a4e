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
/// Both steps for one PDU, of whose joins `vlans` has the VLANs.
void mvrpMapPropagateJoinsSend(const MvrpVlanBitmap& vlans, MvrpPortEntry* source);
/// Withdraws whether a third port still registers the VLAN or not, unless the correction
/// leave-needed is on.
void mvrpMapPropagateLeave(u32 vid, MvrpPortEntry* source);
/// The same for all VLANs of a bitmap: at once, or one by one while mvrpMapLeavesTraced().
void mvrpMapPropagateLeaves(const MvrpVlanBitmap& vlans, MvrpPortEntry* source);
bool mvrpMapLeavesTraced();
void mvrpMapPropagateLeaveMsgSend(MvrpPortEntry* source);

/// Has a port declare what the other enabled ports have registered, as if those had just done so;
/// nothing while its registration mode is not normal. Sends nothing.
void mvrpMapDeclareOn(MvrpPortEntry* port);
/// Has a port withdraw what it declares for others and none of them has registered any more, as
/// mvrpMapPropagateLeave() would. Sends and traces nothing.
void mvrpMapWithdrawOn(MvrpPortEntry* port);

/// Clears the propagation mark of a VLAN that is not static on all other enabled ports, whatever
/// their registration mode; sends nothing. No operation of the daemon calls it.
void mvrpClrPropagate(u32 vid, MvrpPortEntry* source);

/// Turns the registrations that a port lost into pending removals. On return the bitmap holds the
/// dynamic VLANs, and those whose type could not be read. @return 0
u32 mvrpLeaveIndication(QorBuffer* bitmap, MvrpPortEntry* port);
