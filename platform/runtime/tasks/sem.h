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

/// Work that is put off while a thread holds mutexes, so that more of it is done at once.
class PutOffWork {
  public:
    virtual ~PutOffWork() = default;
    /// Does what is put off, all of it. As the others it is called often, so it is cheap when there
    /// is nothing.
    virtual void finish() = 0;
    /// The calling thread gives a mutex back: does what can not be put off any longer.
    virtual void lockGoes() { finish(); }
    /// The calling thread, which held none, has a mutex: does what another thread has put off.
    virtual void lockComes() {}
};

/// From now on each thread lets the work know of mutexes that it takes and gives back. Null: none.
/// The caller keeps it until no thread gives mutexes any more, and sets it while no thread does.
void setPutOffWork(PutOffWork* work);

/// For a thread that is about to wait with a mutex held: finishes the work now.
void finishPutOffWork();

/// Whether the calling thread holds a mutex, so that work of it may be put off.
bool semHeldByCaller();

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
