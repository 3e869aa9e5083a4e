// SPDX-License-Identifier: MIT
//
// The active's end of the command synchronisation: carries the daemon's commands to the standby, a
// second mvrp process that serves them as requests 5 and 8 of a command channel of its own.
//
// A thread keeps the connection: it connects, tells the standby what was set so far, and from then
// on the daemon's tasks carry each command themselves and wait for the answer, at most kPeerWait.
// A standby that runs with other corrections is refused. One that does not answer in time is cut
// off and connected anew; meanwhile the active goes on by itself.
//
// Locking: any thread; one guard, held while a command waits for its answer.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <span>
#include <string>

#include "platform/config/management_commands.h"
#include "platform/contract/corrections.h"
#include "platform/replication/peer_channel.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {

/// Longest that a command holds up the daemon on the active.
inline constexpr std::chrono::milliseconds kPeerWait{500};
/// Longest that the standby may take to be told all settings.
inline constexpr std::chrono::milliseconds kReplayWait{5000};
/// Between two attempts to connect.
inline constexpr std::chrono::milliseconds kPeerRetry{1000};

class StandbyLink {
  public:
    /// @param peerPath  socket that the standby listens on
    /// @param corrections  that this process runs with
    explicit StandbyLink(std::string peerPath, CorrectionSet corrections = {});
    ~StandbyLink();
    StandbyLink(const StandbyLink&) = delete;
    StandbyLink& operator=(const StandbyLink&) = delete;
    StandbyLink(StandbyLink&&) = delete;
    StandbyLink& operator=(StandbyLink&&) = delete;

    /// Starts to look for the standby. @return whether there was a thread for it
    bool start();

    bool connected() const { return connected_.load(std::memory_order_relaxed); }

    /// Carries a setting, and remembers it for a standby that connects later.
    /// @return the standby's status; 0 without one, or when it was lost
    u32 carry(const ManagementCommand& command);
    /// Carries a synchronisation packet, which is not remembered: the daemon repeats them.
    u32 carryPacket(std::span<const u8> packet);

  private:
    /// Sends one request over the connection and drops that when there is no answer. Guard held.
    u32 exchange(const RequestHeader& header, std::span<const u8> value);
    void keepConnected();
    /// Tells the standby all settings and puts the connection in force.
    /// @param error  receives why it is not
    bool bringUp(Descriptor connection, std::string& error);
    /// Whether the standby runs with our corrections. @param error  receives why not
    bool agree(int connection, std::string& error) const;
    bool replay(int connection, const std::vector<ManagementCommand>& commands) const;
    void awaitLoss();
    /// Waits before the next attempt. @return whether there is to be one
    bool pause();

    const std::string path_;
    const CorrectionSet corrections_;
    std::atomic<bool> connected_{false};
    std::atomic<bool> stopping_{false};
    std::atomic<bool> running_{false};
    std::string reported_;  ///< the thread's own: why there is no standby, as it was logged last

    std::mutex guard_;           ///< of all below
    Descriptor connection_;      ///< closed by the thread only
    ManagementConfig settings_;  ///< what the daemon was told since its start
    u64 version_ = 0;            ///< counts the changes of settings_
};

}  // namespace platform
