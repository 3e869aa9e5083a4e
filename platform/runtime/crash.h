// SPDX-License-Identifier: MIT
//
// Crash traces.
#pragma once

namespace platform {

/// Gives the calling thread a stack of its own for the crash handler, so that an overflow of the
/// thread's stack leaves a trace too. Released when the thread ends.
void useCrashStack();

}  // namespace platform
