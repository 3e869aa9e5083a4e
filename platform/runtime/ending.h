// SPDX-License-Identifier: MIT
//
// How the process ends: at once, without destructors under the feet of tasks that can not be asked
// to stop, and with what it had to say.
#pragma once

namespace platform {

/// What an end is for.
enum class Ending {
    Stop,     ///< SIGTERM, SIGINT: what becomes of the VLANs is configured
    Restart,  ///< SIGUSR1: another daemon starts at once, and finds everything as it was
};

/// Gives log and console a moment to be written, then ends the process. A reader that stands still
/// is not waited for.
[[noreturn]] void leaveProcess(int status);

}  // namespace platform
