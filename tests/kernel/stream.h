// SPDX-License-Identifier: MIT
//
// Numbered probes: broadcast frames of an experimental type, one every 10 ms, and who counts them.
#pragma once

#include <string>

/// Sends probes 1, 2, ... out of an interface until SIGTERM, and prints how many. A probe that is
/// late puts the others off; none is left out.
/// @return exit status
int sendProbes(const std::string& interface);

/// Receives the probes of one sender from an interface until SIGTERM. Each line is flushed:
/// `watching` when it listens, `first N`, then `lost A-B` for each gap, and at the end `received N
/// last M`.
/// @return exit status
int receiveProbes(const std::string& interface);
