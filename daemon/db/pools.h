// SPDX-License-Identifier: MIT
//
// The memory of the database: one pool of port entries, one of pending pairs. They exist while MVRP
// is globally enabled, so that nothing is allocated while the protocol runs.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "platform/contract/types.h"

/// Creates the pools "mvrp_port" and "mvrp_vlan". @return 0 or -1
s32 mvrpMemInit();

/// Deletes every port entry and every pending pair and destroys both pools.
/// @return 0, or -1 when a pool could not be destroyed
s32 mvrpMemFree();
