// SPDX-License-Identifier: MIT
//
// The switch that a scenario's daemon runs on: ports, VLANs and other interfaces, kept in memory.
// Nothing here writes to the trace.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

#include "platform/contract/types.h"
#include "platform/virtual/state/vlan_set.h"

namespace scenario {

struct SwitchPort {
    u32 mtu = 1500;  ///< bytes
    u32 link = 1;    ///< 1 up
    u32 pvid = 1;
    u32 eligible = 1;        ///< 1: may run the protocol
    u32 aggregation = 0;     ///< 1: the port is an aggregation
    bool takesPart = false;  ///< the daemon switched MVRP on
    MacAddress mac{};
    VlanSet permitted;  ///< tagged and untagged
    VlanSet tagged;
    VlanSet admitted = VlanSet().set();  ///< those that may be registered
    VlanSet dynamic;                     ///< memberships made by the daemon
    VlanSet everDynamic;                 ///< those it has made since this was last cleared
    VlanSet stranded;  ///< those whose VLAN was deleted from the switch under them
    std::string name;
};

/// An interface that is not a port.
struct SwitchIndex {
    u32 kind = 0;
    u32 vid = 0;
};

/// By VLAN ID: its type, or none for one that is unknown.
class VlanTypes {
  public:
    using Type = std::optional<u32>;

    const Type& operator[](std::size_t vid) const { return types_[vid]; }
    static constexpr std::size_t size() { return kVlanSetLast + 1; }
    void set(std::size_t vid, Type type) {
        if (types_[vid] == type)
            return;
        types_[vid] = type;
        stamp_ = ++lastStamp_;
    }
    /// Types with the same stamp are the same.
    u64 stamp() const { return stamp_; }

  private:
    std::array<Type, kVlanSetLast + 1> types_;
    u64 stamp_ = 0;  ///< 0: none is known yet
    static inline u64 lastStamp_ = 0;
};

struct SwitchState {
    std::map<u32, SwitchPort> ports;
    std::map<u32, SwitchIndex> indexes;
    VlanTypes vlanTypes;
    bool followsWrites = true;  ///< writes of the daemon change the state above
    /// Memberships are kept as a real platform keeps them: a VLAN with members is not deleted, and
    /// a port that takes no part loses all at a removal. Scenarios show what the daemon asks for,
    /// whatever comes of it.
    bool guardsMembers = false;
    u32 standbyAnswer = 0;  ///< 0 while a standby is there

    /// @return the port of a unit, or null
    SwitchPort* findPort(u32 unit);
    /// The port of a unit, created with its defaults when there is none.
    SwitchPort& addPort(u32 unit);
    /// @return the type of a VLAN, or none for one that does not exist
    std::optional<u32> typeOfVlan(u32 vid) const;

    /// Creates those that do not exist, as dynamic.
    void createDynamicVlans(const VlanSet& vlans);
    /// Deletes those that are dynamic. Members, where there may be any, stay members.
    void deleteDynamicVlans(const VlanSet& vlans);
    /// Takes a port out of VLANs that it was made a dynamic member of.
    void removeMember(SwitchPort& port, const VlanSet& vlans) const;
    /// Forgets what a daemon has made, as real platforms do before the next one starts.
    void forgetLearnt();
};

}  // namespace scenario
