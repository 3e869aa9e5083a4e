// SPDX-License-Identifier: MIT
//
// Debugging surface for engineers on the switch: console dumps, trace filters and the debug socket.
// None of these takes the lock: they are called by hand, through the
// platform's debug shell.
#pragma once

#include "platform/contract/types.h"

/// Creates the listening socket "/tmp/mvrpdbg.socket". @return 0 or -1
s32 mvrpDbgSockInit();
/// Accepts one connection, reads a request of four words and runs it.
/// @return the handler's result, or -1 when no whole request arrived
s32 mvrpDbgServer();
/// Prints the help text and runs one debug command; unknown commands do nothing. @return 0
s32 mvrpDbgHandler(u32 command, u32 p1, u32 p2, u32 p3);

void mvrpDbgGlbShow();
void mvrpDbgPortShow();
void mvrpDbgPortThisShow(u32 unit);
/// A VLAN ID outside 1 to 4095 prints the port's lines only.
void mvrpDbgPortVlanShow(u32 unit, u32 vid);
void mvrpShowPort();

/// Set the trace filters; 0 lets everything pass. @return the value set
u32 mvrpVlandbgSet(u16 vid);
u32 mvrpPortdbgSet(u32 unit);
