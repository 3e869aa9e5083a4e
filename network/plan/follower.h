// SPDX-License-Identifier: MIT
//
// Looks at a replica while it runs: memberships that change, frames, and between which places each
// VLAN is connected.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "network/plan/replica.h"

namespace network {

/// What happened in one millisecond of virtual time since the change.
struct Moment {
    u64 ms = 0;
    u64 frames = 0;
    u64 changes = 0;  ///< memberships of ports that came or went
};

/// Frames that a port sent.
struct PortFrames {
    PortAt at;
    u64 frames = 0;
};

/// The places that want a VLAN, in order, each with the number of the part that it is in: those of
/// one part are connected.
using Partition = std::vector<std::pair<u32, u32>>;

struct Connection {
    u64 ms = 0;  ///< since the change
    std::shared_ptr<const Partition> partition;
};

/// VLANs that were connected alike all the time.
struct AlikeHistory {
    VlanBitmap vlans{};
    std::vector<Connection> connections;  ///< the first is of the moment before the change
};

class Follower {
  public:
    explicit Follower(Replica& replica);
    ~Follower();
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    /// From now on time counts, and frames and memberships. @param wanted  by switch, as the
    /// change will have it
    void begin(const std::vector<VlanBitmap>& wanted);
    /// A switch or a cable was changed from outside.
    void lookAtAll();
    /// Frames count anew.
    void countFrames() { frames_.clear(); }

    /// Of the last membership that came or went; 0: none did.
    u64 lastChangeMs() const { return lastChangeMs_; }
    u64 nowMs() const { return replica_.engine().nowMs() - begunMs_; }
    /// Until the last change of a membership.
    std::vector<Moment> moments() const;
    /// Until the last change of a membership, the busiest first.
    std::vector<PortFrames> framesUntilQuiet() const;
    /// Since countFrames().
    std::vector<PortFrames> framesSinceCount() const;
    std::vector<AlikeHistory> histories();

  private:
    struct Slot {
        std::size_t cable = 0;  ///< of the network
        bool hasCable = false;
        PortAt at;
        scenario::VlanSet member;   ///< that the switch has
        scenario::VlanSet carried;  ///< of these what frames can take now
    };
    struct Count {
        u64 quiet = 0;  ///< until the last change of a membership
        u64 since = 0;  ///< after it, as of `epoch`
        u64 epoch = 0;
    };
    using Key = std::pair<u32, u32>;  // node and unit

    void look(const simulation::Node& node);
    void lookAtPort(const simulation::Node& node, u32 unit, Slot& slot);
    void count(const simulation::Node& node);
    void noteChanges(u64 changes);
    void setCarried(Slot& slot, const scenario::VlanSet& carried);
    void settleTime();
    std::shared_ptr<const Partition> partitionOf(u32 vid);
    void remember(u32 vid);

    Replica& replica_;
    u64 begunMs_ = 0;
    bool counting_ = false;
    std::map<Key, Slot> slots_;
    std::vector<std::array<const Slot*, 2>> ends_;  // by cable of the network
    std::vector<scenario::VlanSet> statics_;        // by switch
    std::vector<scenario::VlanSet> wanted_;         // by switch
    u64 lastChangeMs_ = 0;
    std::vector<Moment> moments_;
    u64 epoch_ = 1;  // counts changes of memberships
    std::map<Key, Count> sent_;
    std::map<Key, u64> frames_;
    std::vector<u64> patterns_;  // by VLAN: which cables carry it, and where it is wanted
    std::map<u64, std::shared_ptr<const Partition>> known_;  // by pattern
    scenario::VlanSet dirty_;
    u64 dirtyMs_ = 0;
    std::vector<std::vector<Connection>> history_;  // by VLAN
};

}  // namespace network
