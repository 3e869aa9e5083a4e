// SPDX-License-Identifier: MIT
//
// The role of this process in a pair, and what of the pair concerns the whole process: who the
// other end is, taking over, standing back. One end of the two listens, for as long as it lives;
// the other connects to it (StandbyLink) and says here what it hears.
//
// Locking: any thread, where nothing else is said.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "platform/channel/server.h"
#include "platform/config/host_config.h"
#include "platform/contract/corrections.h"
#include "platform/replication/pair.h"
#include "platform/replication/standby_link.h"

namespace platform {

class StandbyRole {
  public:
    /// @param config, server  outlive it
    /// @param changeRole  called in the command task when this becomes the active or the standby
    StandbyRole(const StandbyConfig& config, CorrectionSet corrections, CommandServer& server,
                std::function<void(HostRole)> changeRole);
    /// Not while the command task may run what it posted.
    ~StandbyRole();
    StandbyRole(const StandbyRole&) = delete;
    StandbyRole& operator=(const StandbyRole&) = delete;
    StandbyRole(StandbyRole&&) = delete;
    StandbyRole& operator=(StandbyRole&&) = delete;

    HostRole role() const { return role_; }
    /// Whether the other end is there.
    bool otherThere() const;
    /// For the link of the end that connects.
    LinkOwner linkOwner();

    // Requests of the other end, from within the request that is being served.
    /// @return the status of the reply, whose value is appended to `reply`
    u32 hello(std::span<const u8> value, std::vector<u8>& reply);
    u32 beat(std::span<const u8> value, std::vector<u8>& reply);
    /// Version 1 of the link began with StandbyAgree: says so in the log, and in the reply.
    u32 oldHello(std::vector<u8>& reply);

    // Requests of people, in the command task.
    /// A standby becomes the active. @return why it does not, or nothing
    std::string takeOver(TakeOverForce force);
    StandbyInfoRecord info() const;

    /// Listens for the other end, where that is configured, and begins to measure how long it is
    /// silent. In the command task, or before it. @param error  receives what was wrong
    bool start(std::string& error);
    /// Takes the socket away.
    void end() const;

  private:
    u32 served(const Pair::Answer& answer, const std::vector<u8>& text, std::vector<u8>& reply);
    void reportRefusal(const std::string& refusal);
    // Guard held; applyRole() is to follow.
    void becomeActive(const char* reason);
    void changed(PairChange change);
    /// In the command task: the switch gets the role that this has.
    void applyRole();
    void measure();
    void tick();
    bool listens() const { return !config_.listenPath.empty(); }

    const StandbyConfig& config_;
    CommandServer& server_;
    std::function<void(HostRole)> changeRole_;
    HostRole applied_;  ///< the command task's: the role of the switch
    std::atomic<HostRole> role_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> running_{false};
    std::atomic<bool> ticking_{false};  ///< a tick waits for the command task

    mutable std::mutex guard_;  ///< of all below
    Pair pair_;
    std::string refused_;  ///< why the other end was refused, as it was logged last
};

}  // namespace platform
