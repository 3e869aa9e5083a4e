// SPDX-License-Identifier: MIT
//
// Passes over bytes in the widest vectors that the machine has: the least that is done for every
// VLAN of a port, and so a limit that no cleverer table or order can undercut.
#pragma once

#include <span>

#include "platform/contract/types.h"

namespace bench {

/// Reads each byte, changes it and writes it back: what an event costs at least that may change
/// every machine. A second pass restores what the first one changed.
void passInPlace(std::span<u8> bytes);

/// Reads each byte. @return all of them or-ed, so that none can be left out
u8 passReading(std::span<const u8> bytes);

}  // namespace bench
