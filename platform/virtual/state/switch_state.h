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
    u32 eligible = 1;     ///< 1: may run the protocol
    u32 aggregation = 0;  ///< 1: the port is an aggregation
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

struct SwitchState {
    std::map<u32, SwitchPort> ports;
    std::map<u32, SwitchIndex> indexes;
    std::array<std::optional<u32>, kVlanSetLast + 1> vlanTypes;  ///< by VLAN ID; none: unknown
    bool followsWrites = true;  ///< writes of the daemon change the state above
    u32 standbyAnswer = 0;      ///< 0 while a standby is there

    /// @return the port of a unit, or null
    SwitchPort* findPort(u32 unit);
    /// The port of a unit, created with its defaults when there is none.
    SwitchPort& addPort(u32 unit);
    /// @return the type of a VLAN, or none for one that does not exist
    std::optional<u32> typeOfVlan(u32 vid) const;

    /// Creates those that do not exist, as dynamic.
    void createDynamicVlans(const VlanSet& vlans);
    /// Deletes those that are dynamic. Their members stay members.
    void deleteDynamicVlans(const VlanSet& vlans);
};

}  // namespace scenario
