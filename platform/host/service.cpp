// SPDX-License-Identifier: MIT
#include "platform/host/service.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <utility>

#include "platform/runtime/files/descriptor.h"
#include "platform/runtime/log.h"
#include "platform/runtime/process_runtime.h"
#include "platform/runtime/tasks/thread.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

using std::chrono::microseconds;

constexpr u32 kServiceStack = 64 * 1024;
/// Looks within the time of the watchdog: one that finds no round, as may happen to an idle daemon,
/// is followed by others in time.
constexpr int kLooks = 4;
/// How often the status is told anew where there is no watchdog.
constexpr microseconds kStatusTime = std::chrono::seconds(5);

/// A reader of the log that stands still holds up the end of a reload for so long.
constexpr std::chrono::milliseconds kReloadLines{100};

std::optional<u64> numberOf(const char* text) {
    u64 number = 0;
    if (text == nullptr)
        return std::nullopt;
    const char* const end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    return error == std::errc{} && stop == end && stop != text ? std::optional(number)
                                                               : std::nullopt;
}

std::atomic<bool> gSettled = false;

/// A path, or a name of the abstract kind behind '@'. @return its length, 0 when it is neither
socklen_t addressOf(const char* path, sockaddr_un& address) {
    const std::size_t length = path == nullptr ? 0 : std::strlen(path);
    if (length < 2 || length >= sizeof address.sun_path || (*path != '/' && *path != '@'))
        return 0;
    address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, length);
    if (*path == '@')
        address.sun_path[0] = '\0';
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
}

/// What the service manager reads as one line.
std::string statusLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return "STATUS=" + text;
}

/// The thread's own.
class Reporter {
  public:
    Reporter(std::function<std::string()> status, std::function<std::chrono::milliseconds()> busy,
             std::optional<microseconds> watchdog)
        : status_(std::move(status)), busy_(std::move(busy)), watchdog_(watchdog) {
        if (watchdog_)
            watch_.emplace(*watchdog_);
    }

    [[noreturn]] void run() {
        gSettled.wait(false);
        if (watch_)
            watch_->look(processRuntime().protocolRounds, microseconds(0), microseconds(0));
        told_ = status_();
        notifyService("READY=1\n" + statusLine(told_));
        const microseconds pause = watchdog_ ? *watchdog_ / kLooks : kStatusTime;
        for (;;) {
            std::this_thread::sleep_for(pause);
            if (watch_)
                checkTasks(pause);
            tellStatus();
        }
    }

  private:
    void checkTasks(microseconds pause) {
        const bool told = watch_->stalled() != nullptr;
        if (watch_->look(processRuntime().protocolRounds, busy_(), pause))
            notifyService("WATCHDOG=1");
        else if (!told && watch_->stalled() != nullptr)
            logMessage(LogPriority::Error, "%s has not moved for %lld ms; the watchdog is not fed",
                       watch_->stalled(),
                       static_cast<long long>(watch_->stalledFor().count() / 1000));
    }

    void tellStatus() {
        const char* const stalled = watch_ ? watch_->stalled() : nullptr;
        std::string now = stalled != nullptr ? std::string(stalled) + " does not move" : status_();
        if (now == told_)
            return;
        notifyService(statusLine(now));
        told_ = std::move(now);
    }

    std::function<std::string()> status_;
    std::function<std::chrono::milliseconds()> busy_;
    std::optional<microseconds> watchdog_;
    std::optional<TaskWatch> watch_;
    std::string told_;
};

}  // namespace

std::optional<microseconds> watchdogTime(const char* time, const char* process, pid_t own) {
    const auto micros = numberOf(time);
    if (!micros || *micros == 0)
        return std::nullopt;
    if (process != nullptr && numberOf(process) != static_cast<u64>(own))
        return std::nullopt;
    return microseconds(*micros);
}

bool ProgressWatch::look(u64 rounds, microseconds elapsed) {
    const bool moved = rounds != rounds_;
    rounds_ = rounds;
    stalled_ = moved ? microseconds(0) : stalled_ + elapsed;
    return moved;
}

bool TaskWatch::look(u64 rounds, microseconds busy, microseconds elapsed) {
    const bool protocolMoves = rounds_.look(rounds, elapsed);
    const bool commandsMove = busy < watchdog_ / 2;
    since_ = commandsMove ? rounds_.stalledFor() : busy;
    stalled_ = since_ < watchdog_ / 2 ? nullptr
               : commandsMove         ? "the protocol task"
                                      : "the command task";
    return protocolMoves && commandsMove;
}

bool notifyService(std::string_view text) {
    sockaddr_un address{};
    const socklen_t length = addressOf(std::getenv(kNotifySocketVariable), address);
    if (length == 0)
        return false;
    const Descriptor out(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return out.isOpen() && sendto(out.get(), text.data(), text.size(), MSG_NOSIGNAL,
                                  reinterpret_cast<const sockaddr*>(&address),
                                  length) == static_cast<ssize_t>(text.size());
}

void startService(std::function<std::string()> status,
                  std::function<std::chrono::milliseconds()> busy) {
    if (std::getenv(kNotifySocketVariable) == nullptr)
        return;
    const auto watchdog = watchdogTime(std::getenv(kWatchdogTimeVariable),
                                       std::getenv(kWatchdogProcessVariable), getpid());
    if (watchdog && *watchdog < kLeastWatchdog)
        logMessage(
            LogPriority::Warning,
            "the watchdog time is %lld ms; an idle daemon makes a round about once a second: "
            "give it 4 s or more (WatchdogSec=)",
            static_cast<long long>(watchdog->count() / 1000));
    const auto reporter = std::make_shared<Reporter>(std::move(status), std::move(busy), watchdog);
    if (!startThread("mvrpservice", kServiceStack, [reporter] { reporter->run(); }))
        logMessage(LogPriority::Error, "no thread to report to the service manager");
}

void settleService() {
    gSettled = true;
    gSettled.notify_all();
}

ServiceReload::ServiceReload() {
    notifyService("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(monotonicMs() * 1000));
}

ServiceReload::~ServiceReload() {
    // Who reads the log when the manager says that it is over finds all of it there.
    flushConsole(kReloadLines);
    notifyService("READY=1");
}

}  // namespace platform
