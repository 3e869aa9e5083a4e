// SPDX-License-Identifier: MIT
//
// One command at every daemon of this machine.
#pragma once

#include "cli/commands/line.h"

namespace cli {

/// Runs the line's command at each daemon whose socket daemonSockets() finds for the line's, and
/// prints each answer under the name of the switch; in JSON one document with all of them. A daemon
/// that fails does not keep the others from being asked.
/// @return the greatest exit status
/// Errors: UsageError for a command that follows one daemon; ConnectionError when there is none.
int runEverywhere(const Line& line, Style style);

}  // namespace cli
