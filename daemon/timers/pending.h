// SPDX-License-Identifier: MIT
//
// Carrying decisions out on the switch. Protocol code marks what a port's `vlanFlag` should become
// and adds a pending pair; the pending timer walks the pairs in order of port and VLAN and applies
// them in batches. The immediate removal is the same walk, made at once and for removals only.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "platform/contract/types.h"

/// Pause before the next run, in milliseconds, with and without work left.
inline constexpr u32 kMvrpPendingBusyMs = 100;
inline constexpr u32 kMvrpPendingIdleMs = 1000;

/// Handler of the pending timer: applies what is pending, and gives way as soon as a socket has
/// data. Re-arms itself on every way out. The argument is ignored. @return 0
u32 mvrpPendingTimerHandler(void* argument);

/// Applies every pending removal now, without giving way, and drops pending additions.
void mvrpPortVlanDel();
