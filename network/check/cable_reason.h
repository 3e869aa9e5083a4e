// SPDX-License-Identifier: MIT
//
// Why a VLAN does not come from one end of a cable to the other.
#pragma once

#include <functional>
#include <optional>

#include "network/check/finding.h"
#include "network/check/spread.h"

namespace network {

/// One direction of a cable: `from` should declare, `to` register.
struct Direction {
    const Network& network;
    PortAt from;
    PortAt to;

    const Switch& sender() const { return network.switchOf(from); }
    const Switch& receiver() const { return network.switchOf(to); }
    const Port& out() const { return network.portOf(from); }
    const Port& in() const { return network.portOf(to); }
};

/// Whose setting or state keeps a VLAN from coming, and the sentence about it.
struct Hindrance {
    Reason reason = Reason::NotDeclared;
    PortAt at;              ///< the port that it is about
    bool ofSwitch = false;  ///< it is about that port's whole switch
    std::string text;       ///< a sentence
    /// To be typed on that switch, a command a line; empty: none. VLANS stands for them.
    std::string command;
};

/// The first thing that keeps `vid` from crossing; nothing when it does cross.
/// @pre `vid` is there at the sender's switch
std::optional<Hindrance> hindranceOf(const Direction& way, u32 vid);

/// What keeps the VLANs of a gap from crossing its cable, one by one in both directions: they may
/// stop for different reasons. A VLAN that stops elsewhere on its way is not there to cross.
void forEachStop(const Network& network, const Gap& gap,
                 const std::function<void(const Hindrance& what, u32 vid)>& visit);

/// Two ends that can not work together, whatever the VLAN: a protocol each, or times with which
/// declarations expire before they are renewed.
std::optional<Hindrance> mismatchOf(const Direction& way);

}  // namespace network
