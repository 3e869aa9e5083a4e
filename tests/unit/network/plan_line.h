// SPDX-License-Identifier: MIT
//
// The line west - middle - east as a network that a forecast can be made of.
#pragma once

#include "tests/unit/network/line.h"

namespace network::testing {

inline constexpr u64 kTakenMs = 1'000'000'000;

inline std::vector<Switch> plannedSwitches() {
    std::vector<Switch> switches = lineOfThree();
    for (Switch& each : switches) {
        each.takenMs = kTakenMs;
        u32 number = 1;
        for (Port& port : each.ports) {
            port.number = number++;
            port.tagged = port.permitted;
        }
    }
    return switches;
}

inline Network plannedLine(std::vector<Switch> switches = plannedSwitches()) {
    return joinNetwork(std::move(switches), {});
}

/// Where a port is in the network.
inline PortAt placeOf(const Network& network, const std::string& name) {
    for (std::size_t of = 0; of < network.switches.size(); ++of)
        for (std::size_t port = 0; port < network.switches[of].ports.size(); ++port)
            if (network.switches[of].ports[port].name == name)
                return {of, port};
    throw std::out_of_range(name);
}

}  // namespace network::testing
