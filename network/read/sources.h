// SPDX-License-Identifier: MIT
//
// Where snapshots lie: files, directories of files, tar archives, and archives in directories.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "network/model/switch.h"

namespace network {

/// One snapshot that is not read yet.
struct Source {
    std::string name;     ///< for people: the file, and the file in the archive
    std::string path;     ///< to be read; of a member of an archive that of the archive
    std::string content;  ///< of a member of an archive; empty: the file is to be read
};

/// Finds all snapshots of these paths, in the order of their names. Of a directory all files that
/// end in .json or .tar, not those below it.
/// @param problems  receives a line for each path that can not be read
std::vector<Source> findSources(const std::vector<std::string>& paths, Problems& problems);

/// The whole of a file. @return false when it can not be read
bool readFile(const std::string& path, std::string& content);

/// The regular files of a tar archive (ustar, pax, GNU). @return what is wrong with it, or empty
std::string readTar(const std::string& archive,
                    const std::function<void(std::string name, std::string content)>& take);

}  // namespace network
