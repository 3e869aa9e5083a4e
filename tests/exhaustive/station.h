// SPDX-License-Identifier: MIT
//
// One switch of a small system, as a machine with few states: the daemon's own code on the platform
// in memory, with all that it knows about one VLAN loaded before each step and read back after it.
// What a step does to a state is asked of the daemon once and remembered.
//
// Single-threaded. At most one call into a station at a time.
#pragma once

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/base/info.h"
#include "daemon/db/port.h"
#include "platform/virtual/state/host.h"

namespace exhaustive {

/// Time goes on in steps of this; the durations are multiples of it.
inline constexpr u32 kTickMs = 50;
inline constexpr u32 kMostPorts = 3;

/// What all stations of a system have in common.
struct Setup {
    CorrectionSet corrections = CorrectionSet::all();
    bool gvrp = false;
};

/// What is special about one of them.
struct Kind {
    u32 ports = 1;          ///< that have a cable
    bool isStatic = false;  ///< the VLAN is static here, and so declared on each port for ever
    MvrpParticipantMode participant = MVRP_PARTICIPANT_FULL;
    bool sendsLeaveAlls = true;  ///< no: its leave-all time is the longer one
    bool operator==(const Kind&) const = default;
};

/// Steps of a station. The first five concern one of its ports; the last is none of it: a frame
/// that is there is on its way for longer.
enum class Step : u8 {
    Deliver,
    Join,
    VectorJoin,
    Leave,
    LeaveAll,
    Apply,
    Tick,
    Want,
    Unwant,
    Hold
};

/// All that a station knows of the VLAN on one port. Timers: ticks left and 1, 0 when idle.
struct PortState {
    u8 machine;
    u8 flag;
    u8 sent;  ///< msgNum; from kMvrpJoinRepeats on they are all alike
    u8 join;
    u8 vectorJoin;
    u8 leave;
    u8 joinFlag;
    u8 leaveSends;  ///< the leave slot has a message to send (without the correction leave-clock)
    u8 pair;        ///< a pending pair
    u8 member;      ///< on the switch
    u8 peerMode;
    bool operator==(const PortState&) const = default;
};

struct StationState {
    std::array<PortState, kMostPorts> ports;
    u8 vlan;   ///< type on the switch; 0: none
    u8 wants;  ///< somebody inside declares the VLAN
    bool operator==(const StationState&) const = default;
};

/// A frame that left by a port. Equal frames have equal numbers in all stations.
struct SentFrame {
    u8 port;
    u8 frame;
};

struct Outcome {
    static constexpr u32 kMostFrames = 8;
    u32 state;
    u32 count;  ///< of `sent`
    std::array<SentFrame, kMostFrames> sent;
};

/// The frames that were ever sent, by their PDU.
class FrameBook {
  public:
    u8 number(const std::vector<u8>& pdu, bool gvrp);
    const std::vector<u8>& pdu(u8 frame) const { return pdus_[frame]; }
    bool isLeaveAll(u8 frame) const;
    std::string describe(u8 frame) const;

  private:
    std::vector<std::vector<u8>> pdus_;
    std::vector<bool> leaveAlls_;
};

/// A permutation of the ports.
using PortOrder = std::array<u8, kMostPorts>;

class Station {
  public:
    Station(const Setup& setup, const Kind& kind, FrameBook* frames);
    ~Station();
    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;

    /// The state of a daemon that was just started and has come to rest.
    u32 initial() const { return initial_; }
    const StationState& at(u32 state) const { return states_[state]; }
    u32 ports() const { return kind_.ports; }
    bool isStatic() const { return kind_.isStatic; }
    bool sendsLeaveAlls() const { return kind_.sendsLeaveAlls; }
    /// Whether it declares only what it has registered itself.
    bool isQuiet() const { return kind_.participant == MVRP_PARTICIPANT_QUIET; }
    std::size_t stateCount() const { return states_.size(); }

    /// What a step makes of a state. `frame` is read for Step::Deliver.
    ///
    /// Of a station of several ports that these are alike is not believed but looked at: each step
    /// is asked of the daemon with the ports in every order, and must have the same outcome.
    const Outcome& apply(u32 state, Step step, u32 port = 0, u8 frame = 0);
    /// The state in which port i has what port order[i] has in `state`.
    u32 reordered(u32 state, const PortOrder& order);

  private:
    void load(const StationState& state);
    StationState save();
    void act(Step step, u32 port, u8 frame);
    void want(bool wants);
    u32 intern(const StationState& state);
    Outcome ask(const StationState& state, Step step, u32 port, u8 frame, StationState* after);
    void requireAlike(const StationState& state, const StationState& after, const Outcome& outcome,
                      Step step, u32 port, u8 frame);
    void bind();
    void unbind();
    MvrpPortEntry* entry(u32 port) const;
    MvrpPortEntry* inside() const;

    Setup setup_;
    Kind kind_;
    FrameBook* frames_;
    scenario::ScenarioHost host_{scenario::Trace::Sink()};
    MvrpInfo record_{};
    std::vector<SentFrame> sent_;
    /// By number. One that was handed out stays where it is when others are added.
    std::deque<StationState> states_;
    std::unordered_map<std::string, u32> index_;
    std::unordered_map<u64, Outcome> known_;
    std::unordered_map<u64, u32> reordered_;
    u8 wants_ = 0;
    u32 initial_ = 0;
};

/// Whether a port has registered the VLAN because somebody behind it declares it.
bool registered(const PortState& port);
/// Whether a port declares it to its neighbour.
bool declares(const PortState& port);
/// Whether it declares it, is not sure that it was heard, and will not say so again by itself.
bool silent(const PortState& port);
/// Whether it is about to give up what it has registered.
bool leaving(const PortState& port);
/// Whether nothing is under way.
bool resting(const StationState& state);

}  // namespace exhaustive
