// SPDX-License-Identifier: MIT
//
// One switch of a simulated network: the scenario host it runs on and the daemon's global record,
// kept while another switch has its turn. The host has no trace. The record is copied in and out:
// its list heads and the pending timer are reached by the record's own address, which is the same
// for all switches.
//
// Single-threaded. At most one Turn exists at a time.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "daemon/base/info.h"
#include "platform/virtual/state/host.h"

namespace simulation {

/// A frame that a daemon sent.
struct SentFrame {
    u32 unit = 0;
    bool gvrp = false;
    std::vector<u8> bytes;
};

/// What an active's daemon tells its standby: a setting, or a synchronisation packet.
struct StandbyMessage {
    u32 unit = 0;
    u32 command = 0;
    u32 value = 0;
    std::vector<u8> packet;
};

struct Node {
    Node(u32 number, CorrectionSet corrections);
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    u32 index;
    scenario::ScenarioHost host;
    MvrpInfo record{};                      ///< while the switch has no turn
    std::optional<u64> dueMs;               ///< of the earliest timer, as of the last turn
    std::optional<u64> wakeMs;              ///< when the switch acts by itself next; Network's
    std::vector<SentFrame> sent;            ///< since the network last took them
    std::map<u32, bool> wanted;             ///< ports that management switched on
    std::optional<u32> standby;             ///< index of the standby card of this switch
    std::vector<StandbyMessage> toStandby;  ///< since the standby last had a turn
    std::map<u32, scenario::VlanSet> told;  ///< of a standby: VLANs listed to it, by unit
    bool acted = false;                     ///< since its state was checked
    bool pairsLost = false;                 ///< the pool of pending pairs was, or may be, exhausted
    bool compliant = false;                 ///< management wants GVRP compliance, in exact networks
    bool callsFailed = false;               ///< the platform refused calls since the daemon's start
};

/// What is followed while a plan runs: every frame that one port sends, and every change of a
/// VLAN's state on it, is printed.
struct Watch {
    u32 node = 0;
    u32 unit = 0;
    u32 vid = 0;  ///< 0: nothing is followed
};
void setWatch(const Watch& watch);

/// The daemon's code acts on this switch while the object lives.
class Turn {
  public:
    Turn(Node& node, u64 nowMs);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /// Passes of the protocol task's loop until nothing is left to be read.
    void serve();
    /// Runs the timers that are due.
    void runTimers();

  private:
    Node& node_;
    u64 nowMs_;
};

}  // namespace simulation
