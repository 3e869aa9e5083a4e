// SPDX-License-Identifier: MIT
//
// The latest changes in a ring of fixed size, each with a sequence number that no earlier run of
// the daemon has used. Not locked: the owner serialises every call.
#pragma once

#include <vector>

#include "platform/channel/observations.h"

namespace platform {

class ChangeRing {
  public:
    ChangeRing();

    /// Adds a change; its sequence number and time are filled in here.
    void add(ChangeRecord change);
    /// Appends a ChangesHeader and the changes after `since` to `reply`, at most kChangesPerReply.
    void read(u64 since, std::vector<u8>& reply) const;
    u64 newest() const { return newest_; }

  private:
    std::vector<ChangeRecord> slots_;
    u64 start_;  ///< the number before the first change of this run
    u64 newest_;
};

}  // namespace platform
