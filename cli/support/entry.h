// SPDX-License-Identifier: MIT
//
// The files of a support dump, written and listed. Functions of their arguments.
#pragma once

#include <string>
#include <vector>

namespace cli {

/// A file of the archive.
struct Entry {
    std::string name;
    std::string about;
    std::string content;
    std::string problem = {};  ///< why it is not whole; empty: it is
};

/// Writes the entries into a new file, a tar of the pax format compressed by Zstandard, for its
/// owner's eyes; all of them in a directory named `top`. Throws RefusedError.
void writeArchive(const std::string& file, const std::string& top,
                  const std::vector<Entry>& entries);

/// The list of the entries, a file of the archive itself. @param masked  whether addresses are
std::string manifestJson(const std::vector<Entry>& entries, bool masked);
/// What the command prints. @param file  empty: nothing was written, and sizes are not known
std::string supportJson(const std::string& file, const std::vector<Entry>& entries);

}  // namespace cli
