// SPDX-License-Identifier: MIT
//
// The active's end of the command synchronisation: carries the daemon's commands to the standby, a
// second mvrp process that serves them as requests 5 and 8 of a command channel of its own.
//
// A thread keeps the connection: it connects, tells the standby what was set so far, and from then
// on sends what waits. The protocol's lists of VLANs are only put down for it, so that nothing of
// the protocol waits for a standby. A setting goes ahead of them, and whoever makes it waits for
// the answer until a time that he gives; then it is in force here, and the standby is still told.
// Between all that it sends a heartbeat whenever one is due. A standby that runs with other
// corrections, or speaks another version, is refused. One that does not answer in time is cut off
// and connected anew; meanwhile the active goes on by itself.
//
// It also connects while its own process is a standby that stood back, or the other one is an
// active; then it sends heartbeats and nothing else.
//
// Locking: any thread; one guard, never held while something is sent or awaited from the standby.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/config/management_commands.h"
#include "platform/contract/corrections.h"
#include "platform/replication/link_protocol.h"
#include "platform/replication/outbox.h"
#include "platform/replication/peer_channel.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {

/// Longest that what a person asks for is held up by the standby, with all of its settings.
inline constexpr std::chrono::milliseconds kPeerWait{500};
/// Ports whose lists wait at a time, and settings; with more settings the standby is told all anew.
inline constexpr u32 kMostWaitingPorts = 1024;
inline constexpr std::size_t kMostWaitingSettings = 1024;
/// Between two attempts to connect.
inline constexpr std::chrono::milliseconds kPeerRetry{1000};

/// Who stands behind the link: all are called from its thread.
struct LinkOwner {
    std::function<LinkState()> state;             ///< of this process
    std::function<void(const LinkState&)> heard;  ///< of the other one
    std::function<void()> lost;                   ///< the other one is no longer connected
};

class StandbyLink {
  public:
    /// @param corrections  that this process runs with
    StandbyLink(const StandbyConfig& config, CorrectionSet corrections, LinkOwner owner);
    ~StandbyLink();
    StandbyLink(const StandbyLink&) = delete;
    StandbyLink& operator=(const StandbyLink&) = delete;
    StandbyLink(StandbyLink&&) = delete;
    StandbyLink& operator=(StandbyLink&&) = delete;

    /// Starts to look for the standby. @return whether there was a thread for it
    bool start();

    /// Whether there is a standby that is told what this active does.
    bool connected() const { return connected_.load(std::memory_order_relaxed); }

    /// Carries a setting, and remembers it for a standby that connects later.
    /// @param until  when to go on without the answer
    /// @return the standby's status; 0 without one, when it was lost, or when it took longer: what
    /// it
    ///         refuses then is logged
    u32 carry(const ManagementCommand& command, Deadline until);
    /// Has a synchronisation packet sent, which is not remembered: the daemon repeats them. Never
    /// waits, and allocates nothing.
    /// @return 0, also without a standby; bad argument for what is no list of a port
    u32 carryPacket(std::span<const u8> packet);

  private:
    /// A setting on its way.
    struct Setting {
        ManagementCommand command;
        bool awaited = true;  ///< somebody waits for its status
        bool done = false;    ///< it was answered, or the standby is lost
        u32 status = kStatusOk;
    };
    /// What goes next: a setting, or else a list.
    struct Next {
        std::shared_ptr<Setting> setting;
        VlanList list;
    };

    /// The reply to one request, or nothing: then the connection is of no more use.
    std::optional<PeerReply> ask(const RequestHeader& header, std::span<const u8> value);
    /// Sends a heartbeat if one is due. @return false when the other end is lost
    bool beat();
    /// Whether something was there to send.
    bool takeNext(Next& next);
    /// @return whether it was answered in time
    bool exchange(const Next& next);
    void answered(Setting& setting, u32 status);
    /// Has the thread look at what waits. Guard held.
    void wake();
    /// @return false when the standby is gone, or has to be told all anew
    bool waitForWork();
    /// Returns when the standby went away, or was cut off.
    void sendWhatWaits();
    void keepConnected();
    /// Meets the other end, and where that is a standby of this active tells it all settings.
    /// @param error  receives why the connection is of no use
    bool bringUp(Descriptor connection, std::string& error);
    bool meet(std::string& error);
    bool tellSettings(std::string& error);
    bool replay(const std::vector<ManagementCommand>& commands);
    /// Whether this process and the other end are what they were when they met.
    bool asTheyMet(const LinkState& other);
    void disconnect();
    /// Waits before the next attempt: not when a role has changed. @return whether there is to be
    /// one
    bool pause();

    const std::string path_;
    const CorrectionSet corrections_;
    const std::chrono::milliseconds heartbeat_;
    const std::chrono::milliseconds lostAfter_;
    const LinkOwner owner_;
    std::atomic<bool> connected_{false};
    std::atomic<bool> stopping_{false};
    std::atomic<bool> running_{false};
    std::string reported_;  ///< the thread's own: why there is no standby, as it was logged last
    Descriptor wake_;

    // The thread's own.
    Descriptor connection_;
    u32 ownRole_ = 0;  ///< HostRole, when they met
    u32 otherRole_ = 0;
    bool roleChanged_ = false;
    BeatSequence sent_;
    BeatSequence received_;
    Deadline nextBeat_;

    std::mutex guard_;  ///< of all below
    std::condition_variable settled_;
    std::deque<std::shared_ptr<Setting>> waiting_;  ///< the first may be on its way already
    Outbox lists_{kMostWaitingPorts};
    u64 reportedDropped_ = 0;
    bool asleep_ = false;        ///< the thread waits for work
    bool overrun_ = false;       ///< more settings than are kept: the standby is told all anew
    ManagementConfig settings_;  ///< what the daemon was told since its start
    u64 version_ = 0;            ///< counts the changes of settings_
};

}  // namespace platform
