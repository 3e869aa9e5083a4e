// SPDX-License-Identifier: MIT
//
// The configuration that was good last, kept for a restart with files that are refused. A service
// manager stops the daemon before anything looks at the file, and tries again when the start fails:
// so the first start fails, with what is wrong, and the next one goes on as before.
//
// Files in the runtime directory, which outlasts a restart and not the machine. By the main thread
// and the command task, one after the other; without a lock.
#pragma once

#include <string>

namespace platform {

/// Keeps the texts of a file that was found right and of its fragments. Where there is no runtime
/// directory nothing is kept. What fails is said in the log: it is no reason not to run.
void keepLastGood(const std::string& configFile);

/// Where the last good files are to be read, for a start with one that is refused.
/// @param configFile  that is refused, or a fragment of it
/// @return empty: this start is to fail. It is the first with that file, nothing is kept, or no
///         service manager would start the daemon again
std::string lastGoodInstead(const std::string& configFile);

}  // namespace platform
