// SPDX-License-Identifier: MIT
//
// Files that are replaced as a whole: at any moment there is the old one or the new one.
#pragma once

#include <string>

namespace platform {

/// Writes `text` beside `path` and puts it in its place once it is on the disk.
/// @param error  receives what was wrong when the result is false; the old file is untouched then
bool replaceFile(const std::string& path, const std::string& text, std::string& error);

}  // namespace platform
