// SPDX-License-Identifier: MIT
//
// From the text of a snapshot (schema/snapshot.schema.json) to the records of a switch.
#pragma once

#include <stdexcept>
#include <string>

#include "network/model/switch.h"

namespace network {

/// A text is no snapshot that this program reads. The text says why.
class SnapshotError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads a snapshot. What an object has beyond what is known here is passed over. Names come out
/// without anything that a terminal would obey. Throws SnapshotError.
Switch parseSnapshot(const std::string& text);

}  // namespace network
