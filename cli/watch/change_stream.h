// SPDX-License-Identifier: MIT
//
// The daemon's changes in order, without gaps that nobody hears of: a stream that survives the end
// of the connection, and of the daemon.
#pragma once

#include <optional>
#include <vector>

#include "cli/client/client.h"
#include "platform/channel/observations.h"

namespace cli {

class ChangeStream {
  public:
    /// @param states  whether changes of state are asked for too
    ChangeStream(Client& client, bool states) : client_(client), states_(states) {}

    /// Goes on after this change. @return false when the daemon no longer knows what came after it
    bool resume(u64 since);
    /// Begins with whatever comes next.
    void begin();
    /// Changes since the last call, empty when there are none. @return nothing when some were lost:
    /// then begin() again and take a snapshot
    std::optional<std::vector<platform::ChangeRecord>> next();
    /// The newest changes that are kept, at most so many, the oldest first. begin() is not needed,
    /// and next() does not care.
    std::vector<platform::ChangeRecord> latest(u64 most);
    /// Sequence number of the last change that is known.
    u64 sequence() const { return sequence_; }

  private:
    platform::ChangesHeader ask(u64 since, std::vector<platform::ChangeRecord>& changes);

    Client& client_;
    bool states_;
    u64 sequence_ = 0;
};

/// Stable word of a kind of change, for JSON: "memberAdded".
const char* changeName(u32 kind);

}  // namespace cli
