// SPDX-License-Identifier: MIT
//
// Tells one thread that there is something new, so that it need not look for it again and again.
//
// Locking: guards itself; its mutex is innermost and held for a moment only.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace platform {

class News {
  public:
    /// Something is new. One exchange of a byte, unless nobody was told since take(): then the
    /// thread is woken, if it waits. Allocates nothing and waits for nobody. Any thread, with
    /// whatever locked.
    void tell() {
        // An exchange even where it is true already: together with that of take(), it has the
        // thread see whatever was written before the news were told.
        if (told_.exchange(true, std::memory_order_acq_rel))
            return;
        {
            // Between the thread's look at told_ and its wait there is no room for this.
            const std::lock_guard lock(mutex_);
        }
        toldNow_.notify_one();
    }

    /// Waits until something was told since take(), or until the time is over. The one thread.
    /// @return whether something was told
    bool await(std::chrono::milliseconds within) {
        std::unique_lock lock(mutex_);
        return toldNow_.wait_for(lock, within,
                                 [this] { return told_.load(std::memory_order_acquire); });
    }

    /// What is told from now on is new: the thread looks after this at all that was told before it.
    /// @return whether something was told
    bool take() { return told_.exchange(false, std::memory_order_acq_rel); }

  private:
    std::atomic<bool> told_{false};
    std::mutex mutex_;  ///< taken when told_ becomes true, so that it is not missed
    std::condition_variable toldNow_;
};

}  // namespace platform
