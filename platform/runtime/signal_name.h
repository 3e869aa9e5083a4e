// SPDX-License-Identifier: MIT
//
// Names of signals, for messages: not every C library has sigabbrev_np().
#pragma once

#include <array>
#include <csignal>

namespace platform {

/// @return the name without SIG of a signal that ends the program or that it waits for, otherwise
/// "?". Safe inside a
///         signal handler.
constexpr const char* signalName(int signalNumber) {
    struct Named {
        int number;
        const char* name;
    };
    constexpr std::array kNames = {
        Named{SIGABRT, "ABRT"}, Named{SIGBUS, "BUS"},   Named{SIGFPE, "FPE"},
        Named{SIGHUP, "HUP"},   Named{SIGILL, "ILL"},   Named{SIGINT, "INT"},
        Named{SIGSEGV, "SEGV"}, Named{SIGTERM, "TERM"}, Named{SIGUSR1, "USR1"},
    };
    for (const Named& each : kNames)
        if (each.number == signalNumber)
            return each.name;
    return "?";
}
static_assert(signalName(SIGTERM)[0] == 'T' && signalName(0)[0] == '?');

}  // namespace platform
