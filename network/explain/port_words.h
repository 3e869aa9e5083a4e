// SPDX-License-Identifier: MIT
//
// What `mvrpctl explain` says of a VLAN on a port, from a snapshot in place of a running daemon.
#pragma once

#include <string>

#include "network/join/topology.h"

namespace network {

struct PortWords {
    std::string why;     ///< a sentence
    std::string advice;  ///< what to do on that switch; a sentence
};

PortWords explainPort(const Network& network, PortAt at, u32 vid);

}  // namespace network
