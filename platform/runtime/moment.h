// SPDX-License-Identifier: MIT
//
// The clock of the tasks. What happens to many ports or VLANs at once, while a thread holds the
// daemon's lock, happens in one moment: a look at the clock for each would cost more than the work.
//
// Locking: none; each thread has its own moment.
#pragma once

#include "platform/contract/types.h"

namespace platform {

/// Milliseconds on a clock that never goes back.
u64 monotonicMs();

/// The same as of a moment ago: while the thread holds a lock, one look at the clock serves many
/// calls. Timers go by it.
u64 momentMs();

/// For a thread that has waited: momentMs() looks at the clock again.
void timePasses();

/// As timePasses(), for a thread that will always say so itself: a lock that it gets at once, as
/// between one frame and the next, begins no other moment.
void timePassesAsSaid();

// Of the mutexes of sem.h.
/// The thread has taken a lock. @param waited  for another thread
void lockTaken(bool waited);
/// It holds none any more.
void locksGiven();

}  // namespace platform
