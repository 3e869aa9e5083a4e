// SPDX-License-Identifier: MIT
//
// Threads of the host.
#pragma once

#include <functional>
#include <string>

#include "platform/contract/types.h"

namespace platform {

/// Starts a detached thread that leaves the signals of the process to the signal task.
/// @param name        cut to the 15 characters that the kernel keeps
/// @param stackBytes  raised to what the host's own libraries need
/// @return whether it could be started
bool startThread(const std::string& name, u32 stackBytes, std::function<void()> body);

}  // namespace platform
