// SPDX-License-Identifier: MIT
//
// PDUs that a neighbour would send.
#pragma once

#include <span>
#include <vector>

#include "platform/contract/types.h"

namespace bench {

/// A PDU, from the protocol version on, that joins VLANs: one vector for each run of consecutive
/// VLAN IDs.
std::vector<u8> mvrpJoinPdu(std::span<const u32> vids);
std::vector<u8> gvrpJoinPdu(std::span<const u32> vids);

/// VLAN IDs first, first + step, ...
std::vector<u32> vlansFrom(u32 first, u32 count, u32 step = 1);

}  // namespace bench
