// SPDX-License-Identifier: MIT
#include "platform/replication/role.h"

#include <unistd.h>

#include <chrono>
#include <thread>
#include <utility>

#include "platform/runtime/log.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr std::chrono::milliseconds kLook{100};
constexpr u32 kAbsenceStack = 64 * 1024;

}  // namespace

StandbyRole::StandbyRole(const StandbyConfig& config, CommandServer& server,
                         std::function<void()> becomeActive)
    : config_(config),
      server_(server),
      becomeActive_(std::move(becomeActive)),
      role_(config.role) {}

bool StandbyRole::start(std::string& error) {
    if (!config_.configured || role_ != HostRole::Standby)
        return true;
    if (!server_.open(config_.listenPath, error, &actives_))
        return false;
    if (config_.takeOverAfterS == 0)
        return true;
    if (startThread("mvrpabsence", kAbsenceStack, [this] { awaitActive(); }))
        return true;
    error = "no thread to wait for the active";
    return false;
}

/// Time counts from the start too: an active that never came is gone as well.
void StandbyRole::awaitActive() {
    const std::chrono::seconds allowed(config_.takeOverAfterS);
    auto seen = std::chrono::steady_clock::now();
    while (role_ == HostRole::Standby) {
        const auto now = std::chrono::steady_clock::now();
        if (activeConnected())
            seen = now;
        if (now - seen >= allowed) {
            server_.post([this] {
                if (!activeConnected())
                    takeOver("the active has been gone for the configured time");
            });
            seen = now;
        }
        std::this_thread::sleep_for(kLook);
    }
}

bool StandbyRole::takeOver(const char* reason) {
    if (role_ != HostRole::Standby)
        return false;
    role_ = HostRole::Active;
    server_.close(config_.listenPath);
    logMessage(LogPriority::Notice, "taking over as the active: %s", reason);
    becomeActive_();
    return true;
}

void StandbyRole::end() const {
    if (config_.configured && role_ == HostRole::Standby)
        unlink(config_.listenPath.c_str());
}

}  // namespace platform
