// SPDX-License-Identifier: MIT
//
// Which corrections the daemon runs with, how often each has acted, and the last one that decided
// for a VLAN on a port.
//
// Locking: none. acted() is called with the daemon's lock held, by one thread at a time, and costs
// a few stores; the reads are for any thread. The room is taken at the start, and a page of it
// costs memory once a decision stands there: of two decisions that share a place the later one is
// kept, so that an old one may be forgotten, never mistaken.
#pragma once

#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>

#include "platform/contract/corrections.h"

namespace platform {

/// The last correction that decided for a VLAN on a port.
struct CorrectionDecision {
    Correction which;
    u64 whenMs;  ///< on the monotonic clock

    bool operator==(const CorrectionDecision&) const = default;
};

class CorrectionBook {
  public:
    explicit CorrectionBook(CorrectionSet on);

    CorrectionSet on() const { return on_; }
    /// Arguments are those of correctionActed().
    void acted(Correction which, u32 unit, u32 vid);

    u64 count(Correction which) const;
    /// @param vid  1 to 4094, or 0 for what was decided about the port as a whole
    std::optional<CorrectionDecision> last(u32 unit, u32 vid) const;

  private:
    /// One decision. `key` is written last and read first and last: a reader that meets a writer
    /// sees that and takes nothing. Both are touched as std::atomic_ref only.
    struct Place {
        u64 key;  ///< see keyOf(), 0: empty or being written
        u64 whenMs;
    };
    struct Freed {
        void operator()(Place* places) const { std::free(places); }
    };
    /// A page for each unit and 4096 VLANs would be exact; this holds sixteen ports that have all
    /// VLANs, or a thousand with sixty each.
    static constexpr std::size_t kPlaces = 65536;

    static u64 keyOf(Correction which, u32 unit, u32 vid);
    Place& placeOf(u32 unit, u32 vid) const;

    const CorrectionSet on_;
    std::array<std::atomic<u64>, kCorrectionCount> counts_{};
    const std::unique_ptr<Place[], Freed> places_;  ///< kPlaces of them
};

}  // namespace platform
