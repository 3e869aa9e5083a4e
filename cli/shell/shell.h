// SPDX-License-Identifier: MIT
//
// The shell: a prompt at which commands are typed without the program's name.
#pragma once

#include <string>
#include <vector>

#include "cli/commands/line.h"

namespace cli {

/// Reads commands at the terminal until its end. Each runs in a process of its own, so that Ctrl-C
/// ends it and not the shell.
/// @param options  words that stand before each command: --socket and the like
/// @param line  what these words say
/// @param runLine  runs words as the program does, mistakes included; @return its exit status
int runShell(const std::vector<std::string>& options, const Line& line, Style style,
             int (*runLine)(const std::vector<std::string>& words));

}  // namespace cli
