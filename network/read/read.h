// SPDX-License-Identifier: MIT
//
// A collection of snapshots, read.
#pragma once

#include <string>
#include <vector>

#include "network/model/switch.h"

namespace network {

struct Collection {
    std::vector<Switch> switches;  ///< by name; each name is there once
    Problems problems;             ///< what was not read or not used, a line each
};

/// Reads all snapshots of these paths (see findSources()), on as many threads as there are
/// processors. Of two snapshots of one switch the newer is used; switches of the same name get
/// different ones.
Collection readCollection(const std::vector<std::string>& paths);

}  // namespace network
