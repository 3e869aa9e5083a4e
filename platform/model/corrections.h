// SPDX-License-Identifier: MIT
//
// Sets of corrections as people read them.
#pragma once

#include <string>

#include "platform/contract/corrections.h"

namespace platform {

/// "all", "none", or the names with ", " between them, in the order of the enumeration.
std::string formatCorrections(CorrectionSet set);

}  // namespace platform
