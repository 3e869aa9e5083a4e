// SPDX-License-Identifier: MIT
//
// Files of the person at the keyboard that a daemon reads or writes: opened here, with the person's
// rights, and passed. A file that can not be opened here is left to the daemon, which opens it only
// in the directories of its configuration.
#pragma once

#include <string>
#include <string_view>

#include "platform/runtime/files/descriptor.h"

namespace cli {

/// The contents of a file as memory that nobody can change any more.
/// @return not open when it can not be read here, or is larger than a replay may be
platform::Descriptor fileToRead(const std::string& path);

/// A text as such memory. @return not open when there is no memory for it
platform::Descriptor memoryOf(std::string_view text);

/// A file that is created or emptied. @return not open when it can not be written here
platform::Descriptor fileToWrite(const std::string& path);

}  // namespace cli
