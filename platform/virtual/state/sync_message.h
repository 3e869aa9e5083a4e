// SPDX-License-Identifier: MIT
//
// The VLAN synchronisation message of an active daemon to its standby, as text and as bytes: u8
// type, u8 unused, u16 length, u32 unit (both most significant byte first), VLAN bitmap.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/contract/types.h"
#include "platform/virtual/state/vlan_set.h"

namespace scenario {

/// `type=T len=L unit=U vids=RANGES`; bytes that are missing read as zero.
std::string formatSyncMessage(std::span<const u8> message);

std::vector<u8> buildSyncMessage(u8 type, u32 unit, const VlanSet& vlans);

}  // namespace scenario
