// SPDX-License-Identifier: MIT
//
// A network of snapshots in the simulation: the real daemons in virtual time, with the ports,
// modes, times, VLANs and corrections of the switches. Neighbours without a snapshot are switches
// of one port there, which declare what was heard of them.
#pragma once

#include <vector>

#include "network/plan/change.h"
#include "network/plan/phases.h"
#include "platform/virtual/network/network.h"

namespace network {

struct ReplicaSettings {
    u64 seed = 1;        ///< of the times at which daemons start
    u32 delayMs = 1;     ///< of each cable
    u64 outageMs = 500;  ///< how long a switch that restarts is away
};

/// Switch n of the network is node n; behind them are the neighbours without a snapshot. Cable n of
/// the network is cable n, unless a port had two.
class Replica {
  public:
    Replica(const Network& network, const ReplicaSettings& settings);

    /// Starts the daemons, as far from each other as the switches' were started, or where timers
    /// have drifted since then, at any time within the longest LeaveAll time.
    void start();
    /// Once the network is at rest: memberships that come from what happened earlier are put in,
    /// and modes are set that keep what their port has learnt before.
    void settle();
    /// Has the timers that are known stand as they did, at a moment that comes when `beforeMs` have
    /// passed: leadMs() to let what LeaveAlls made happen again until then, and 0 at the moment.
    void setPhases(const Phases& phases, u64 beforeMs);
    /// In so long all that the last LeaveAlls before a moment made comes about.
    u64 leadMs() const;
    /// Puts a change in. A switch that restarts is back after the time of its outage, which run()
    /// has to pass.
    void apply(const Change& change);
    /// Lets time pass. @return false when there is no end to what happens
    bool run(u64 ms);

    /// The network as the simulation has it now: what was read, with the VLANs and links of now.
    Network state();

    simulation::Network& engine() { return engine_; }
    const simulation::Network& engine() const { return engine_; }
    /// What was read, with ports that are numbered as in the engine.
    const Network& source() const { return source_; }
    bool isAway(u32 node) const { return away_[node]; }
    /// Whether a cable of the network is part of it; a port's second cable is not.
    bool hasCable(std::size_t cable) const { return cables_[cable].has_value(); }
    bool carries(std::size_t cable) const;
    /// Without a change of memberships for so long the network is at rest: a LeaveAll has passed,
    /// and what it made leave has left.
    u64 calmMs() const;
    u64 longestLeaveAllMs() const;
    /// What could not be put in as it is, a line each.
    const Problems& problems() const { return problems_; }

  private:
    struct Return {
        u64 atMs = 0;
        u32 node = 0;
    };

    void addSwitch(std::size_t of);
    void addStranger(PortAt at);
    void addCables();
    void startNode(u32 node);
    void setUp(u32 node);
    void plugIn(u32 node, bool in);
    void setCable(std::size_t cable, bool up);
    void setVlans(const Change& change);
    void goAway(u32 node);
    bool mayCarry(std::size_t engineCable) const;

    Network source_;
    ReplicaSettings settings_;
    simulation::Network engine_;
    simulation::Random random_;
    std::vector<std::optional<u32>> cables_;  ///< of the network: number in the engine
    std::vector<bool> wantedUp_;              ///< by number in the engine: nobody cut it
    std::vector<bool> away_;                  ///< by node
    std::vector<Return> returns_;
    std::vector<PortAt> strangers_;  ///< by node, behind the switches
    Problems problems_;
};

}  // namespace network
