// SPDX-License-Identifier: MIT
//
// What else is made from the table of commands: completion, and the manual page.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands/commands.h"

namespace cli {

/// The word with which the completion scripts ask; it stands in no table.
inline constexpr std::string_view kCompleteWord = "__complete";
/// In place of candidates: the shell completes names of files.
inline constexpr const char* kCompleteFiles = "<files>";

/// Words that may stand in place of the last of `words`, which may be empty, or its beginning, in
/// the order of the alphabet. Ports and VLANs are asked of the daemon; without one there are none.
std::vector<Candidate> completeLine(std::span<const std::string> words);

/// All that may stand in place of the last of `words`, for a person: the argument that is expected,
/// in capitals; ENTER when the command may end here; its options; and the candidates.
std::vector<Candidate> describeLine(std::span<const std::string> words);

/// mvrpctl(8), as troff with the man macros.
std::string manualPage();

}  // namespace cli
