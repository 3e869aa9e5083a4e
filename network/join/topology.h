// SPDX-License-Identifier: MIT
//
// Who is connected to whom: ports joined by the addresses that they hear of each other, by what
// LLDP says, and by the cables that configurations name. What only one end says is a question.
#pragma once

#include <string>
#include <vector>

#include "network/model/switch.h"

namespace network {

/// A port, by the places of its switch in the network and of itself in the switch.
struct PortAt {
    std::size_t of = 0;
    std::size_t port = 0;

    auto operator<=>(const PortAt&) const = default;
};

/// What speaks for a cable between two ports.
struct Evidence {
    bool heardAtA = false;  ///< A hears B now
    bool heardAtB = false;
    bool remembered = false;  ///< one of them heard the other before
    bool lldp = false;        ///< one of them says so by LLDP
    bool configured = false;  ///< both configurations name the same cable

    bool bothWays() const { return heardAtA && heardAtB; }
    bool isSure() const { return bothWays() || lldp || configured; }
    bool isLive() const { return heardAtA || heardAtB || lldp || configured; }
};

struct Cable {
    PortAt a;  ///< below `b`
    PortAt b;
    Evidence evidence;
};

/// Somebody who is heard and of whom there is no snapshot.
struct Stranger {
    PortAt port;
    Mac mac = 0;
    bool gvrp = false;
    bool lost = false;
};

struct Network {
    std::vector<Switch> switches;
    std::vector<Cable> cables;  ///< in the order of their ends
    std::vector<Stranger> strangers;
    Problems problems;

    const Switch& switchOf(PortAt at) const { return switches[at.of]; }
    const Port& portOf(PortAt at) const { return switches[at.of].ports[at.port]; }
    Port& portOf(PortAt at) { return switches[at.of].ports[at.port]; }
};

/// "02:00:00:00:00:01".
std::string macText(Mac mac);
/// "west:swp1".
std::string nameOf(const Network& network, PortAt at);
/// "west:swp1 - east:swp2".
std::string nameOf(const Network& network, const Cable& cable);

/// Joins the switches. @param problems  of the reading; those of the joining are added
Network joinNetwork(std::vector<Switch> switches, Problems problems);

}  // namespace network
