// SPDX-License-Identifier: MIT
//
// What an active and its standby have to have in common: a standby that ran with other corrections
// would do something else with what it is told, and after a take-over with its neighbours.
#pragma once

#include <string>

#include "platform/contract/corrections.h"

namespace platform {

/// @return the empty string, or what is wrong and allowed, with both sets
std::string disagreement(CorrectionSet ofActive, CorrectionSet ofStandby);

}  // namespace platform
