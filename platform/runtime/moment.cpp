// SPDX-License-Identifier: MIT
#include "platform/runtime/moment.h"

#include <chrono>

namespace platform {
namespace {

/// One look at the clock serves so many calls in a row.
constexpr u32 kCallsPerLook = 256;

struct Moment {
    u64 ms = 0;
    u32 calls = 0;        ///< that it still serves
    bool isHeld = false;  ///< the thread holds a lock
    bool isTold = false;  ///< the thread says itself when it waits
};
thread_local Moment moment;

}  // namespace

u64 monotonicMs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<u64>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

u64 momentMs() {
    if (!moment.isHeld)
        return monotonicMs();
    if (moment.calls == 0) {
        moment.ms = monotonicMs();
        moment.calls = kCallsPerLook;
    }
    --moment.calls;
    return moment.ms;
}

void timePasses() {
    moment.calls = 0;
}

void timePassesAsSaid() {
    moment.isTold = true;
    timePasses();
}

void lockTaken(bool waited) {
    moment.isHeld = true;
    if (waited || !moment.isTold)
        timePasses();
}

void locksGiven() {
    moment.isHeld = false;
}

}  // namespace platform
