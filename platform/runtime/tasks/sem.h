// SPDX-License-Identifier: MIT
//
// The contract's mutexes, and what the host may ask about them. They are recursive and fair: a task
// that gives one hands it to the task that has waited longest, so that a request of the command
// channel slips in between two frames however busy the protocol task is.
#pragma once

#include "platform/contract/types.h"

namespace platform {

/// Most mutexes that exist at a time.
inline constexpr u32 kMaxSems = 16;

/// Gives back whatever mutexes the calling thread holds. @return how deep it held them, all of them
/// counted together
u32 semReleaseHeldByCaller();

/// Takes every mutex that exists, waiting for each; semReleaseHeldByCaller() gives them back.
void semTakeAll();

/// Holds every mutex that exists, for calls into the daemon that take no lock of their own. May
/// wait; gives them back at its end.
class SemHoldAll {
  public:
    SemHoldAll();
    ~SemHoldAll();
    SemHoldAll(const SemHoldAll&) = delete;
    SemHoldAll& operator=(const SemHoldAll&) = delete;
    SemHoldAll(SemHoldAll&&) = delete;
    SemHoldAll& operator=(SemHoldAll&&) = delete;

  private:
    bool held_[kMaxSems]{};
};

}  // namespace platform
