// SPDX-License-Identifier: MIT
//
// Configuration files are ASCII but for their comments. The TOML parser's version 3.3 reaches
// undefined behaviour over some characters above ASCII where none belongs, also while it looks for
// the end of a word that is wrong anyway; so it gets to see none of them.
#pragma once

#include <optional>
#include <string>

#include "platform/config/config_problem.h"

namespace platform {

/// Makes a document pure ASCII: drops a byte order mark at its start, and puts a question mark in
/// place of each byte above ASCII in a comment.
/// @return the place of such a byte elsewhere, and what is wrong with it; the document is not to be
///         parsed then
std::optional<ConfigProblem> makeAsciiDocument(std::string& document);

}  // namespace platform
