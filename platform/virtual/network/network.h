// SPDX-License-Identifier: MIT
//
// A network of simulated switches and the cables between their ports, in virtual time. What happens
// follows from the calls and the seed alone.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <queue>
#include <span>
#include <vector>

#include "platform/virtual/network/arrivals.h"
#include "platform/virtual/network/node.h"
#include "platform/virtual/network/random.h"

namespace simulation {

/// Chances in percent, each frame by itself.
struct CableFaults {
    u32 loss = 0;
    u32 duplicate = 0;
    u32 reorder = 0;  ///< is kept back for up to kMostReorderMs
    u32 corrupt = 0;  ///< one byte of the PDU is changed
};

struct Cable {
    PortEnd a;
    PortEnd b;
    u32 delayMs = 1;
    bool up = true;
    CableFaults faults;
};

inline constexpr u32 kMostReorderMs = 400;

/// How late timers of a switch run. By default they run in the very millisecond.
struct Lateness {
    /// Of the part below a second of a wait for timers, as the protocol task has it: one that is
    /// due earlier waits, unless a frame comes.
    u32 leastWaitMs = 0;
    u32 mostMs = 0;  ///< each wait is longer by up to so much
};
/// That of a running daemon: its least wait, and a clock and a processor that are shared.
inline constexpr Lateness kRealLateness = {17, 4};

class Network {
  public:
    /// @param corrections  that the daemons of all its switches find on
    explicit Network(u64 seed, CorrectionSet corrections = {})
        : random_(seed), corrections_(corrections) {}

    Node& addNode() { return addNode(corrections_); }
    /// A switch whose daemon finds other corrections on than those of the network.
    Node& addNode(CorrectionSet corrections);
    /// A node without cables, which is told what the daemon of switch `active` tells its standby.
    Node& addStandby(u32 active);
    void addCable(PortEnd a, PortEnd b, u32 delayMs);

    Node& node(u32 index) { return *nodes_[index]; }
    /// The switches, and behind them the standbys.
    const std::vector<std::unique_ptr<Node>>& nodes() const { return nodes_; }
    u32 switchCount() const { return static_cast<u32>(nodes_.size()) - standbyCount_; }
    std::vector<Cable>& cables() { return cables_; }
    const std::vector<Cable>& cables() const { return cables_; }
    u64 nowMs() const { return nowMs_; }
    CorrectionSet corrections() const { return corrections_; }

    void setLateness(const Lateness& lateness) { lateness_ = lateness; }

    /// Called with each switch that acted, with what it sent, before that goes on its way.
    void setObserver(std::function<void(const Node&)> observer) { observer_ = std::move(observer); }

    /// Lets a switch act: `action` runs in its turn, then it reads what waits, then what it sent
    /// goes on its way.
    template <typename Action>
    void act(u32 index, Action action) {
        {
            Turn turn(*nodes_[index], nowMs_);
            action();
            turn.serve();
        }
        transmit(index);
    }

    /// Runs frames and timers for `ms`. @return false when there is no end to what happens
    bool run(u64 ms);

  private:
    /// A timer of a switch; one that is not the earliest of its switch any more is passed by.
    struct Due {
        u64 atMs;
        u32 node;
        bool operator<(const Due& other) const {
            return atMs != other.atMs ? atMs > other.atMs : node > other.node;
        }
    };
    /// Where a port's frames go.
    struct Way {
        std::optional<u32> cable;
        PortEnd to;
    };

    void plug(u32 cable, PortEnd from, PortEnd to);
    const Way* wayFrom(u32 node, u32 unit) const;
    u64 nextTimerMs();
    u64 wakeFor(u64 dueMs);
    void transmit(u32 index);
    void tellStandby(Node& active);
    void carry(u32 cable, PortEnd to, const SentFrame& frame);
    std::shared_ptr<const std::vector<u8>> shared(std::span<const u8> rest);
    void deliver(const Arrival& arrival);
    bool runNext(u64 endMs);

    Random random_;  // of the cables, and of waits that are longer
    Lateness lateness_;
    CorrectionSet corrections_;
    u64 nowMs_ = 0;
    std::vector<std::unique_ptr<Node>> nodes_;
    u32 standbyCount_ = 0;
    std::vector<Cable> cables_;
    std::vector<std::vector<Way>> ways_;  // by node and unit
    Arrivals arrivals_;
    std::shared_ptr<const std::vector<u8>> lastRest_;  ///< of the frame that was sent last
    std::priority_queue<Due> timers_;
    std::function<void(const Node&)> observer_;  // may be empty
};

/// Switches on the longest way through a network whose cables are a tree.
u32 longestWay(const Network& network);

}  // namespace simulation
