// SPDX-License-Identifier: MIT
//
// The protocol timers of a port: join, leave, vector join, periodic and leave-all. Handlers run in
// the protocol task with gMvrpInfo.sem held; the argument is the MvrpPortEntry. All timers are
// one-shot, and only the leave-all handler re-arms its own slot.
#pragma once

#include "daemon/db/port.h"

/// Delay of the joins that a received Lv or a platform event calls for, in milliseconds.
inline constexpr u32 kMvrpPromptJoinMs = 1000;

/// Has the port send what `flag` says when `ms` have passed.
void mvrpJoinTimerArm(MvrpPortEntry* port, MvrpJoinTimerFlag flag, u32 ms);

/// Has the port send what its joinTimerFlag says in kMvrpPromptJoinMs, by its second join timer;
/// with the correction static-heard within its join time, too.
void mvrpVectorJoinStart(MvrpPortEntry* port);

/// Counts a transmission and, while it is not the last of its round, arms the join timer for the
/// next, which sends what `flag` says.
void mvrpJoinCycleStep(MvrpPortEntry* port, MvrpJoinTimerFlag flag);

/// Sends what joinTimerFlag says, then synchronises the standby. @return 0
u32 mvrpJoinTimerHandler(void* port);
/// Ends the registrations that were withdrawn and not refreshed, and propagates that.
/// @return 0; -1 when the leave indication failed
u32 mvrpLeaveTimerHandler(void* port);
/// Declares everything anew and asks the peers to; nothing while the link is down. @return 0
u32 mvrpLeaveallTimerHandler(void* port);
/// Has no effect: the slot is armed and stopped, its expiry does nothing. @return 0
u32 mvrpPeriodTransTimerHandler(void* port);
/// Handler of a leave slot that was armed to send: mvrpPortSendPkt(). @return its result
u32 mvrpSendTimerHandler(void* port);
