// SPDX-License-Identifier: MIT
//
// Where files and sockets lie that others name: below directories that the configuration names, and
// nowhere else. A path is walked directory by directory and no link is followed, so nobody who may
// write somewhere below can lead the daemon out of them.
//
// Locking: none, nothing changes after construction.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/runtime/files/descriptor.h"

namespace platform {

/// A name in an open directory. The name may be a link or not there: open it without following.
struct Place {
    Descriptor directory;
    std::string name;

    /// A path of our own, as the configuration wrote it.
    static Place ofPath(const std::string& path);
    /// For calls that take no directory, as bind() and connect(). Good while this exists.
    std::string address() const;
};

class RequestPlaces {
  public:
    /// Without directories there is no place.
    explicit RequestPlaces(std::vector<std::string> directories = {});

    /// @return where `path` lies; nothing when that is in none of the directories, behind a link or
    ///         in a directory that can not be opened, with the reason in `error`
    std::optional<Place> find(const std::string& path, std::string& error) const;

  private:
    std::vector<std::string> directories_;  ///< without '/' at the end
};

/// The directories of requests where the configuration names none: of the daemon's sockets, and of
/// its state ($STATE_DIRECTORY, which a service manager sets, or /var/lib/mvrp).
std::vector<std::string> standardPlaces();

}  // namespace platform
