// SPDX-License-Identifier: MIT
//
// The daemon's debug socket server, which the daemon's own tasks do not run.
#pragma once

namespace platform {

/// Starts a thread that serves the debug socket with the daemon's own functions, found by name.
void startDebugSocket();
/// Takes the socket away at the end.
void removeDebugSocket();

}  // namespace platform
