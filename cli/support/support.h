// SPDX-License-Identifier: MIT
//
// What a support dump has: a list of sources, each collected for itself, so that one that fails
// costs no other; and the archive that they go into.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/support/entry.h"

namespace cli {

/// Where an entry comes from.
enum class SourceKind {
    Text,      ///< what a command of mvrpctl prints
    Document,  ///< the same as JSON
    Program,   ///< what another program of the system prints
    File,      ///< a file of the system
    Settings,  ///< the daemon's configuration file, and its fragments
    Capture,   ///< frames of the protocol, only when they are asked for
};

struct Source {
    std::string_view name;  ///< in the archive
    SourceKind kind;
    std::string_view from;  ///< the command, program or file, words with blanks between
    std::string_view about;
};

/// All of them, in the order of the archive.
std::span<const Source> supportSources();

/// Collects what a source has: none or several for Settings, else one.
std::vector<Entry> collectEntries(const Context& context, const Source& source);

}  // namespace cli
