// SPDX-License-Identifier: MIT
//
// What the service manager is told: that the daemon is ready, what it does, and that its two tasks
// move. Speaks the notification protocol of systemd, one datagram of NAME=VALUE lines each,
// and does nothing where the manager gave no socket.
//
// Locking: any thread. Errors: none that stop the daemon; a notification that can not be sent is
// lost, and the service manager draws its own conclusions.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

/// The service manager's variables.
inline constexpr const char* kNotifySocketVariable = "NOTIFY_SOCKET";
inline constexpr const char* kWatchdogTimeVariable = "WATCHDOG_USEC";
inline constexpr const char* kWatchdogProcessVariable = "WATCHDOG_PID";

/// An idle protocol task still makes a round this often.
inline constexpr std::chrono::milliseconds kIdleRound{1100};
/// The watchdog has to be slower than that, with time left for a busy machine.
inline constexpr std::chrono::milliseconds kLeastWatchdog{4000};

/// How long the service manager waits for a sign of life.
/// @param time     microseconds as text, null for no watchdog
/// @param process  the process that is meant, null for any
/// @return nothing when there is no watchdog, or it watches another process
std::optional<std::chrono::microseconds> watchdogTime(const char* time, const char* process,
                                                      pid_t own);

/// Whether the protocol task moves, from its count of rounds.
class ProgressWatch {
  public:
    /// @param rounds   the count now
    /// @param elapsed  since the look before
    /// @return whether there was a round since the look before
    bool look(u64 rounds, std::chrono::microseconds elapsed);
    /// For how long no look found a new round.
    std::chrono::microseconds stalledFor() const { return stalled_; }

  private:
    u64 rounds_ = 0;
    std::chrono::microseconds stalled_{0};
};

/// Whether both tasks move, for a watchdog of some time.
class TaskWatch {
  public:
    explicit TaskWatch(std::chrono::microseconds watchdog) : watchdog_(watchdog) {}

    /// @param rounds   of the protocol task, the count now
    /// @param busy     how long the command task has been at one thing
    /// @param elapsed  since the look before
    /// @return whether the watchdog may be fed
    bool look(u64 rounds, std::chrono::microseconds busy, std::chrono::microseconds elapsed);
    /// Who has not moved for half of the watchdog's time; null: both do, or it is too early to say.
    const char* stalled() const { return stalled_; }
    std::chrono::microseconds stalledFor() const { return since_; }

  private:
    const std::chrono::microseconds watchdog_;
    ProgressWatch rounds_;
    const char* stalled_ = nullptr;
    std::chrono::microseconds since_{0};
};

/// Sends one notification, for example "STOPPING=1".
/// @return whether it was sent
bool notifyService(std::string_view text);

/// Starts a thread that reports readiness once settleService() was called, its status whenever it
/// is different, and to the watchdog that both tasks move: that the protocol task makes rounds, and
/// that the command task is done with what it began. Does nothing without a service manager.
/// @param status  what the daemon does, in a line; asked from that thread until the end
/// @param busy    how long the command task has been at one thing; asked likewise
void startService(std::function<std::string()> status,
                  std::function<std::chrono::milliseconds()> busy);

/// The daemon's tasks run, and the ports have their settings.
void settleService();

/// While it exists the configuration is read again.
class ServiceReload {
  public:
    ServiceReload();
    ~ServiceReload();
    ServiceReload(const ServiceReload&) = delete;
    ServiceReload& operator=(const ServiceReload&) = delete;
    ServiceReload(ServiceReload&&) = delete;
    ServiceReload& operator=(ServiceReload&&) = delete;
};

}  // namespace platform
