// SPDX-License-Identifier: MIT
//
// Reception of GVRP PDUs. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <span>

#include "daemon/db/port.h"

/// Walks the attributes of a PDU, from the first attribute's length byte on. @return 0
s32 mvrpVlanInfoProcessGvrp(MvrpPortEntry* port, std::span<const u8> attributes);

/// Applies one received attribute; `gidEvent` is a row of the GVRP tables. @return 0
s32 mvrpGidRcvAttribute(MvrpPortEntry* port, u16 vid, u32 gidEvent);
