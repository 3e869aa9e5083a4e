// SPDX-License-Identifier: MIT
//
// Ports of simulated switches as sets of VLANs. The default VLAN is left out.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "daemon/db/port.h"
#include "platform/virtual/network/network.h"

namespace simulation {

/// What a port says and knows, as sets.
struct PortView {
    scenario::VlanSet registered;  ///< REG-BIT or a fixed registrar
    scenario::VlanSet learnt;      ///< REG-BIT, and no fixed registrar
    scenario::VlanSet declared;    ///< applicant states that send joins
    scenario::VlanSet propagated;  ///< PROPAGATE-BIT
    scenario::VlanSet member;
};

/// In a turn of the switch.
PortView viewOf(const MvrpPortEntry& port, const Node& node);

/// All ports of the network, by switch and unit.
using Views = std::vector<std::map<u32, PortView>>;
Views viewsOf(Network& network);

/// VLANs that are static on a switch.
scenario::VlanSet staticVlans(const Node& node);

/// @return what is too many and what is missing, or empty
std::string differing(const std::string& what, const scenario::VlanSet& is,
                      const scenario::VlanSet& expected);

}  // namespace simulation
