// SPDX-License-Identifier: MIT
//
// The log and the console of a daemon, written by threads of their own.
#pragma once

#include "platform/contract/types.h"

namespace platform {

/// From now on lines of the log, and what the daemon prints, wait in rings for their threads: a
/// reader that stands still holds nobody up. What finds no room is left out, and a line says how
/// much that was. Lines of a kind go to the journal with their fields, where the log goes there.
/// Once, before there are tasks; without threads all stays as it was.
void startLogWriter();

/// Lines of the log that found no room, ever. Any thread.
u64 lostLogLines();

}  // namespace platform
