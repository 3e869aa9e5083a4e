// SPDX-License-Identifier: MIT
//
// One end of a pair: whether it is the active or the standby, what it knows of the other end, and
// when it takes over or stands back. A state machine without a clock, a socket or a log of its own.
//
// Silence is counted by tick(), and no more of it than kMostUnseen at a time: an end that was
// stopped, or had no time, has not listened, and takes nobody for lost because of that.
//
// Locking: none; its owner has one.
#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/contract/corrections.h"
#include "platform/replication/link_protocol.h"

namespace platform {

struct PairConfig {
    HostRole role = HostRole::Active;
    bool listens = false;  ///< the other end connects to this one
    std::chrono::milliseconds lostAfter{1000};
    std::chrono::milliseconds takeOverAfter{0};  ///< 0: never by itself
    CorrectionSet corrections;
    u32 process = 0;
};

/// What a call has made of the roles.
enum class PairChange {
    None,
    TookOver,        ///< the other end was silent for long enough: this is the active now
    StoodBack,       ///< there were two actives: this is the standby now
    OtherStoodBack,  ///< there were two actives: this goes on, and the other end stands back
};

/// What people are told.
struct PairView {
    HostRole role;
    std::optional<LinkState> other;          ///< of the other end, while it is there
    std::chrono::milliseconds heardAgo;      ///< what was last heard of it
    PairChange lastTwo = PairChange::None;   ///< how the last meeting of two actives ended
    std::chrono::milliseconds lastTwoAgo{};  ///< how long that is ago
};

class Pair {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// Longest time between two calls of tick() that counts, as a part of lostAfter: a half.
    static constexpr u32 kUnseenParts = 2;

    Pair(const PairConfig& config, Time now);

    HostRole role() const { return role_; }
    /// What the other end is told of this one.
    LinkState state() const;

    /// How a request of the other end is answered; its value is in `reply`. An end that stands back
    /// answers what it was before, so that the other one sees two actives, too.
    struct Answer {
        u32 status = kStatusOk;
        PairChange change = PairChange::None;
        u64 ended = 0;  ///< a client that is served no further; 0: none
    };
    /// Request::StandbyHello and Request::StandbyBeat, at the end that listens.
    /// @param client  not 0; one at a time is the peer: the first that says hello, until it is gone
    ///                or silent for lostAfter
    Answer hello(u64 client, std::span<const u8> value, Time now, std::vector<u8>& reply);
    Answer beat(u64 client, std::span<const u8> value, Time now, std::vector<u8>& reply);
    /// A client is no longer connected.
    void gone(u64 client);
    /// Whether this client is the peer.
    bool isPeer(u64 client) const { return client != 0 && client == peer_; }

    /// The end that connects has heard the other one, or lost it.
    PairChange heard(const LinkState& other, Time now);
    void lost();

    /// Time passes; several times within lostAfter.
    PairChange tick(Time now);

    /// A standby becomes the active.
    /// @return the client that is served no further; 0: none
    u64 takeOver(Time now);

    /// Whether anything, or an active, was heard of the other end within lostAfter.
    bool otherThere() const { return other_.has_value() && silence_ < config_.lostAfter; }
    bool otherIsActive() const { return otherThere() && isActive(*other_); }
    u32 otherProcess() const { return other_ ? other_->process : 0; }
    PairView view(Time now) const;

  private:
    Answer refuse(std::string problem, std::vector<u8>& reply) const;
    std::string helloProblem(u64 client, const LinkHello& hello) const;

    const PairConfig config_;
    HostRole role_;
    u64 forcedAtNs_ = 0;
    u64 activeSinceNs_ = 0;

    u64 peer_ = 0;
    BeatSequence sent_;
    BeatSequence received_;

    std::optional<LinkState> other_;
    Time ticked_;
    std::chrono::nanoseconds silence_{0};  ///< since anything was heard of the other end
    std::chrono::nanoseconds absence_{0};  ///< since an active was heard, or this one stood back
    PairChange lastTwo_ = PairChange::None;
    Time lastTwoAt_;
};

}  // namespace platform
