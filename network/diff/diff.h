// SPDX-License-Identifier: MIT
//
// What is different between two collections of one network.
#pragma once

#include <string>
#include <vector>

#include "network/join/topology.h"

namespace network {

struct Difference {
    std::string where;   ///< a switch, a port or a cable
    std::string what;    ///< "link", "member", ...
    std::string before;  ///< empty: it was not there
    std::string after;   ///< empty: it is gone

    auto operator<=>(const Difference&) const = default;
};

/// In the order of the names of switches, ports and cables.
std::vector<Difference> compareNetworks(const Network& before, const Network& after);

}  // namespace network
