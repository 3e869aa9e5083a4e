// SPDX-License-Identifier: MIT
//
// Holds the daemon's tasks back until its start-up has come to an end. The daemon creates its tasks
// before it has filled in all that they use, and takes no lock for the rest; with the gate closed
// they begin when it is done. The gate is open unless a host closes it.
#pragma once

namespace platform {

/// Tasks created from now on wait for openStartGate().
void closeStartGate();
void openStartGate();
/// Waits while the gate is closed.
void passStartGate();

}  // namespace platform
