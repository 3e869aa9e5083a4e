// SPDX-License-Identifier: MIT
//
// A synchronisation packet as a scenario writes it: `type=T unit=U vids=R`, or its bytes.
#pragma once

#include <vector>

#include "tests/scenario/lang/text.h"

namespace scenario {

std::vector<u8> parseSyncWords(Words words);

}  // namespace scenario
