// SPDX-License-Identifier: MIT
//
// A few stations and the cables between them, as one joint state, and the moves that it can make.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "tests/exhaustive/station.h"

namespace exhaustive {

inline constexpr u32 kMostStations = 4;
inline constexpr u32 kMostCables = 3;
inline constexpr u32 kMostEnds = kMostCables * 2;
inline constexpr u32 kMostQueued = 8;

/// Frames on their way in one direction, the oldest first, with bits of what is known of each:
/// it has been on its way since before the last tick; it does not arrive before the next one.
inline constexpr u8 kOld = 0x80;
inline constexpr u8 kHeld = 0x40;
struct Queue {
    u8 count;
    std::array<u8, kMostQueued> frames;
    bool operator==(const Queue&) const = default;
    bool operator<(const Queue& other) const {
        return std::tie(count, frames) < std::tie(other.count, other.frames);
    }
};

struct Joint {
    std::array<u32, kMostStations> stations;
    std::array<Queue, kMostEnds> queues;  ///< of cable c: 2c from its first end, 2c + 1 back
    std::array<u8, kMostStations> age;    ///< ticks for which a station has declared, limited
    u8 acts;                              ///< changes and LeaveAlls that count, since the last rest
    u8 faults;                            ///< losses and duplicates, since the last rest
    u8 leaveAlls;  ///< ends that sent or heard one since the last rest, by bit
    u8 excused;    ///< somebody was asked in vain, and what that led to is not over
    std::array<u8, 2> unused;
};

/// One end of a cable.
struct End {
    u8 station;
    u8 port;
};
struct Cable {
    std::array<End, 2> ends;
};

/// What may happen beside what the protocol does by itself. Counts are of one episode, which is the
/// time from one rest to the next.
struct Freedom {
    static constexpr u32 kAnyNumber = 15;

    bool changes = false;          ///< stations begin and cease to declare
    bool losses = false;           ///< a frame may be lost
    bool duplicates = false;       ///< a frame may arrive twice
    bool leaveAlls = false;        ///< each end may send a LeaveAll, once in an episode
    u32 disturbances = 0;          ///< most changes, losses and duplicates, together
    u32 acts = kAnyNumber;         ///< most changes of these
    u32 faults = kAnyNumber;       ///< most losses and duplicates of these
    bool countsLeaveAlls = false;  ///< a LeaveAll counts as a change, too
    bool transit = true;           ///< a frame may be on its way for a tick, and longer than it
    /// Joint::leaveAlls lasts until all ends have sent or heard one, whatever rests between.
    bool rounds = false;

    bool allowsAct(const Joint& joint) const {
        return joint.acts < acts && u32{joint.acts} + joint.faults < disturbances;
    }
    bool allowsFault(const Joint& joint) const {
        return joint.faults < faults && u32{joint.acts} + joint.faults < disturbances;
    }
};

enum class Kindred : u8 { Protocol, Change, Loss, Duplicate, LeaveAll };

/// One move, as it is shown to people.
struct Move {
    Kindred kind;
    Step step;
    u8 station;
    u8 port;
    u8 frame;
    bool lost;
};

/// Stations with one number behind several cables of a switch are alike: of states that differ in
/// the order of its ports only, one is visited.
class System {
  public:
    System(const Setup& setup, const std::vector<Kind>& kinds, std::vector<Cable> cables);

    Joint initial();
    /// `next` is the state that is visited, `plain` the same with the stations as they were.
    using Visit = std::function<void(const Joint& next, const Move& move, const Joint& plain)>;
    /// Calls `visit` with each state that one move leads to.
    ///
    /// What stations of one port do between two ticks is had one after the other, each at its
    /// first opportunity, as nobody can tell: such a station reads and writes its own state, the
    /// head of the queue to it and the tail of the queue from it. It reads what is there, or holds
    /// it until after the next tick; what it does by itself it may do before and after each. Timers
    /// that are due come before all else. The ports of a switch are had in every order.
    void moves(const Joint& joint, const Freedom& freedom, const Visit& visit);

    /// Bits of Joint::leaveAlls of all ends.
    u8 allEnds() const { return static_cast<u8>((1U << cables_.size() * 2) - 1); }
    bool atRest(const Joint& joint) const;
    /// Why a move ends a registration whose declaration is living, which no net without loss may
    /// do, or empty.
    std::string withdrawal(const Joint& before, const Joint& after) const;
    /// Known, and why some withdrawals are excused: a port that is about to give up a registration
    /// asks for it, with an Mt or JoinEmpty, and its neighbour declares the VLAN, is anxious (AA or
    /// AP) since its last join, and has no timer running that would let it say so again. The
    /// question starts none, because it makes nobody anxious who was not. The next LeaveAll of
    /// either end mends that.
    bool askedInVain(const Joint& after, const Move& move) const;
    /// What of a state at rest is not as declared, or empty.
    std::string disagreement(const Joint& joint) const;

    std::string describe(const Move& move) const;
    std::string describe(const Joint& joint) const;
    std::size_t stationStates() const;
    std::size_t stationCount() const { return stations_.size(); }
    std::size_t cableCount() const { return cables_.size(); }

  private:
    const StationState& state(const Joint& joint, u32 station) const;
    const PortState& port(const Joint& joint, End end) const;
    void step(const Joint& joint, const Freedom& freedom, Move move, const Visit& visit);
    void deliveries(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit);
    void timers(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit);
    void changes(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit);
    void leaveAlls(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit);
    u32 urgent(const Joint& joint, const Freedom& freedom) const;
    void tick(const Joint& joint, const Freedom& freedom, const Visit& visit);
    void sends(Joint* joint, u8 station, const Outcome& outcome) const;
    void order(Joint* joint);
    void visitNormal(Joint joint, const Freedom& freedom, const Move& move, const Visit& visit);
    bool due(const Joint& joint, u32 station) const;
    bool wants(const Joint& joint, u32 station) const;
    bool tells(const Joint& joint, u32 station) const;

    std::unique_ptr<FrameBook> frames_;
    /// Those of one kind and one port are one, and have the same numbers for their states.
    std::vector<std::shared_ptr<Station>> stations_;
    bool isStar_ = false;  ///< station 0 is a switch, with a neighbour of one kind at each port
    bool isEven_ = false;  ///< a pair of one kind
    std::vector<Cable> cables_;
    std::vector<std::array<std::vector<u8>, 2>> behind_;  ///< stations behind each end's neighbour
};

}  // namespace exhaustive
