// SPDX-License-Identifier: MIT
//
// Hex dump of PDUs through the log.
#pragma once

#include "platform/contract/types.h"

/// Logs a PDU as hex, 16 bytes to a line, while MVRP_DEBUG_PACKET is set. A length below 0 holds no
/// byte.
void mvrpPrintPacket(const u8* frame, s32 length);
