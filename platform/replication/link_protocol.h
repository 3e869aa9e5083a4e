// SPDX-License-Identifier: MIT
//
// What an active and its standby say to each other beside settings and lists: who they are, when
// they meet, and heartbeats. They are requests of the command channel, from the end that connects
// (the one whose configuration names a peer) to the end that listens, so every heartbeat is
// answered with the other's own. In the machine's byte order, as both are on one machine.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "platform/channel/protocol.h"

namespace platform {

/// Of all that is said on the link. Version 1 had neither records like these nor heartbeats.
inline constexpr u32 kLinkVersion = 2;

/// Who an end is. Times are of the machine's monotonic clock, which both ends read.
struct LinkState {
    u32 version;
    u32 role;     ///< HostRole
    u32 process;  ///< its id, for people
    u32 reserved;
    u64 forcedAtNs;     ///< when a person made it the active though another was; 0: nobody did
    u64 activeSinceNs;  ///< 0 on a standby
};
static_assert(sizeof(LinkState) == 32);

/// Value of Request::StandbyHello. The reply is the other's LinkState.
struct LinkHello {
    LinkState state;
    u32 corrections;  ///< bits of the CorrectionSet that it runs with
    u32 heartbeatMs;  ///< that it sends
};
static_assert(sizeof(LinkHello) == 40);

/// Value of Request::StandbyBeat, and of its reply.
struct LinkBeat {
    u64 sequence;  ///< counts the heartbeats of this end since the hello, from 1
    LinkState state;
};
static_assert(sizeof(LinkBeat) == 40);

/// The numbers of one end's heartbeats, which leave none out.
class BeatSequence {
  public:
    u64 next() { return ++last_; }
    /// @return whether `sequence` is the one that follows
    bool follows(u64 sequence) { return sequence == last_ + 1 && next() == sequence; }

  private:
    u64 last_ = 0;
};

/// Reads what the other end sent: any bytes. @param problem  receives what is wrong and allowed
std::optional<LinkHello> readHello(std::span<const u8> value, std::string& problem);
std::optional<LinkState> readState(std::span<const u8> value, std::string& problem);
std::optional<LinkBeat> readBeat(std::span<const u8> value, std::string& problem);

/// Why an end that speaks another version is refused.
std::string versionProblem(u32 version);

inline bool isActive(const LinkState& state) {
    return state.role == static_cast<u32>(HostRole::Active);
}

/// Of two actives that see each other, whether the first goes on. The one that a person chose last
/// does, or else the one that has been active for longer, or else the one that listens. Both ends
/// come to the same.
bool goesOn(const LinkState& first, const LinkState& second, bool firstListens);

}  // namespace platform
