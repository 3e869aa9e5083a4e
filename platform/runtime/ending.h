// SPDX-License-Identifier: MIT
//
// How the process ends: at once, without destructors under the feet of tasks that can not be asked
// to stop, and with what it had to say.
#pragma once

namespace platform {

/// Gives log and console a moment to be written, then ends the process. A reader that stands still
/// is not waited for.
[[noreturn]] void leaveProcess(int status);

}  // namespace platform
