// SPDX-License-Identifier: MIT
//
// What a map shows of a network: for each switch and each end of a cable where which VLANs are, and
// marks where something was found. The picture and the page are made of the same facts.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "network/check/finding.h"
#include "network/check/spread.h"

namespace network {

/// Of a switch: the first of these that a VLAN is in is what the switch looks like for it.
struct SwitchVlans {
    VlanBitmap fixed{};   ///< static
    VlanBitmap asked{};   ///< somebody who is no switch of the network declares it here
    VlanBitmap learnt{};  ///< passed on
};

/// Of one end of a cable.
struct EndVlans {
    VlanBitmap registered{};  ///< the other end asked for it
    VlanBitmap unasked{};     ///< member all the same
};

struct CableVlans {
    bool works = false;              ///< both links are up
    VlanBitmap stops{};              ///< that one end has, and something keeps from the other
    std::array<EndVlans, 2> ends{};  ///< in the order of the cable's
};

/// Something was found at a switch, or at an end of a cable.
struct Mark {
    std::size_t at = 0;                 ///< of the cables where `end` is set, else of the switches
    std::optional<std::size_t> end;     ///< 0 or 1
    std::vector<std::size_t> findings;  ///< by place in the list, worst first
};

struct MapFacts {
    const Network& network;
    const std::vector<Finding>& findings;
    std::vector<SwitchVlans> switches;
    std::vector<std::vector<const Stranger*>> strangers;  ///< by switch
    std::vector<CableVlans> cables;
    std::vector<Mark> marks;
    std::vector<VlanBitmap>
        groups;  ///< VLANs for which the network looks alike, by their first one
};

/// @param findings  of checkNetwork(), which have to outlast the facts as the network has
MapFacts mapFacts(const Network& network, const std::vector<Finding>& findings);

/// "static", "asked", "learnt" or "none". Without a VLAN: "whole".
const char* kindOf(const SwitchVlans& vlans, std::optional<u32> vid);
/// "registered", "unasked" or "none"; "down" where the cable is. Without a VLAN: "whole".
const char* kindOf(const CableVlans& cable, std::size_t end, std::optional<u32> vid);

/// Whether a finding concerns a VLAN: it names it, or no VLAN at all.
bool concerns(const Finding& finding, std::optional<u32> vid);

/// What a map opens on: the first VLAN of the worst error or warning that names one, or else of the
/// first group.
std::optional<u32> tellingVlan(const MapFacts& facts);

}  // namespace network
