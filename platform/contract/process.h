// SPDX-License-Identifier: MIT
//
// Process services.
//
// The daemon prints its dumps with printf and perror. A host that wants them elsewhere too wraps
// the two at link time.
#pragma once

#include <span>

#include "platform/contract/types.h"

/// One function of the debug shell, callable by name with up to three numbers.
struct ShellFunc {
    const char* name;
    u32 parameters;  ///< how many of the three are used
    u32 (*call)(u32 p1, u32 p2, u32 p3);
};

/// The debug entry points of the daemon, defined by it and called by the host's debug shell.
extern const std::span<const ShellFunc> gMvrpShellMap;

/// Makes the process's exported debug entry points callable by name.
void procShellInit(const char* name, u32 reserved1, u32 reserved2);
/// Installs the platform's handlers of the signals that end or patch a process.
void patchSignalHandler();

/// The daemon's entry, called by a host once its own set-up is done: starts the daemon and returns
/// only when it is configured off or can not start.
/// @return -1
int mvrpProcessMain(int argc, char** argv);
