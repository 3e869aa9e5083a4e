// SPDX-License-Identifier: MIT
//
// The role of this process in a pair: active, or standby until it takes over.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "platform/channel/server.h"
#include "platform/config/host_config.h"

namespace platform {

class StandbyRole {
  public:
    /// @param config      outlives it, as does `server`
    /// @param becomeActive  called once, in the command task, when a standby takes over
    StandbyRole(const StandbyConfig& config, CommandServer& server,
                std::function<void()> becomeActive);

    HostRole role() const { return role_; }
    /// Whether the active is connected, on a standby.
    bool activeConnected() const { return actives_ != 0; }

    /// A standby listens for its active, and measures how long it is gone where that is configured.
    /// @param error  receives what was wrong
    bool start(std::string& error);
    /// A standby becomes the active. In the command task.
    /// @return false when this is no standby
    bool takeOver(const char* reason);
    /// Takes the standby's socket away.
    void end() const;

  private:
    void awaitActive();

    const StandbyConfig& config_;
    CommandServer& server_;
    std::function<void()> becomeActive_;
    std::atomic<HostRole> role_;
    std::atomic<u32> actives_{0};
};

}  // namespace platform
