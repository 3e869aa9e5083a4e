// SPDX-License-Identifier: MIT
//
// Start-up: options, sockets, tasks, memory pools. Runs once, in the main thread, before any other
// thread exists.
#pragma once

#include "platform/contract/types.h"

/// Everything that main does before it goes to sleep.
/// @return 0, or -1 when start-up failed or the daemon is configured off
s32 mvrpStart();

/// Reads the five start-up options and calls mvrpInit(). @return 0 or -1
s32 mvrpOptInit();

/// Builds gMvrpInfo, opens the sockets and starts the tasks. A maximum of 0 selects the default (48
/// ports, 4094 VLANs a port); the batch sizes are stored truncated to 16 bits, 0 stays 0.
/// @return 0, or -1 with everything that was opened closed again
s32 mvrpInit(u32 maxIfNum, u32 maxVlanNumPerIf, u32 vlanNumPerTimes, u32 vlanNumPerTimesAgg);
