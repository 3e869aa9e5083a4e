// SPDX-License-Identifier: MIT
//
// What else is made from the table of commands: completion, and the manual page.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// The word with which the completion scripts ask; it stands in no table.
inline constexpr std::string_view kCompleteWord = "__complete";
/// In place of candidates: the shell completes names of files.
inline constexpr const char* kCompleteFiles = "<files>";

/// Words that may stand in place of the last of `words`, which may be empty, or its beginning.
/// Ports and VLANs are asked of the daemon; without one there are none.
std::vector<std::string> completeLine(const std::vector<std::string>& words);

/// mvrpctl(8), as troff with the man macros.
std::string manualPage();

}  // namespace cli
