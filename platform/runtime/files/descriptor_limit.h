// SPDX-License-Identifier: MIT
//
// How many file descriptors the process may have (RLIMIT_NOFILE).
#pragma once

#include "platform/contract/types.h"

namespace platform {

/// Raises the limit to `needed` as far as the system lets the process; it is never lowered. Any
/// thread. @return the limit now, 0 when it is not known
u64 raiseDescriptorLimit(u64 needed);

}  // namespace platform
