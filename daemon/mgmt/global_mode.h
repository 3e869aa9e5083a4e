// SPDX-License-Identifier: MIT
//
// Global enable and GVRP compliance. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "platform/contract/types.h"

/// Creates the pools and enables MVRP; touches no port.
/// @return 0; -1 when the route socket's buffer can not be set; MVRP_ERR_NO_MEMORY
u32 mvrpEnable();
/// Disables every port, withdraws what they learnt and releases the pools.
/// @return 0; MVRP_ERR_POOL_BUSY, and both modes keep their values
u32 mvrpDisable();
/// Has every enabled port speak GVRP. @return 0; -1 when a port refused, with all rolled back
u32 mvrpComplianceGvrp();
/// Has every enabled port speak MVRP again. @return 0; -1 when a port refused, with all rolled back
u32 mvrpUncomplianceGvrp();
