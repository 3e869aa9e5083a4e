// SPDX-License-Identifier: MIT
//
// The way of a VLAN from one switch to another, hop by hop, to where it stops.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "network/check/cable_reason.h"

namespace network {

struct Hop {
    PortAt from;
    PortAt to;
    bool carries = false;              ///< both ends are members, and the link works
    std::optional<Hindrance> stopped;  ///< why the VLAN does not come over
    PortAt wordsAt;                    ///< the end where it should arrive
    std::string words;                 ///< what `mvrpctl explain` says there
    std::string advice;
};

struct Way {
    std::string from;
    std::string to;
    bool whole = false;     ///< the VLAN is carried from one end to the other
    std::vector<Hop> hops;  ///< empty: there is no way of cables between the two
};

/// The ways between two switches, or without names from the first switch that wants the VLAN to
/// each of the others. Where several ways are there, one that carries the VLAN, or else the one
/// with the fewest cables that do not.
std::vector<Way> waysOf(const Network& network, u32 vid, const std::string& from,
                        const std::string& to);

/// Names of the switches where the VLAN is wanted.
std::vector<std::string> wantedOn(const Network& network, u32 vid);

}  // namespace network
