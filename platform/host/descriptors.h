// SPDX-License-Identifier: MIT
//
// How many file descriptors a configuration takes: the limit is raised for it before they run out.
#pragma once

#include "platform/config/host_config.h"

namespace platform {

/// The most descriptors that a daemon with this configuration has open.
u64 descriptorsNeeded(const HostConfig& config);

/// Raises the process's limit to that as far as the system lets it, and says so when that is too
/// little. Any thread.
void raiseDescriptors(const HostConfig& config);

}  // namespace platform
