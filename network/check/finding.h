// SPDX-License-Identifier: MIT
//
// What is not as it should be in a network, and how to mend it.
#pragma once

#include <string>
#include <vector>

#include "network/join/topology.h"

namespace network {

enum class Severity { Note, Warning, Error };

/// Why VLANs stop, or what else is wrong. The words of JSON are in reasonName().
enum class Reason {
    LinkDown,
    Blocked,
    CableBroken,
    Loop,
    MvrpOff,    ///< on the switch
    PortOff,    ///< on the port
    Protocols,  ///< MVRP at one end, GVRP at the other
    NotPermitted,
    Forbidden,
    Fixed,
    Limit,
    Quiet,
    Times,
    WireForm,
    NotDeclared,
    NotHeard,
    NotMember,
    Stale,
    Neighbours,
    Corrections,
    Versions,
    Islands,
    OnePlace,
};
const char* reasonName(Reason reason);

struct Finding {
    Severity severity = Severity::Note;
    Reason reason = Reason::NotDeclared;
    std::string onSwitch;
    std::string port;   ///< whose setting or state it is; empty: of the switch as a whole
    std::string cable;  ///< where VLANs stop; empty: it is about none
    VlanBitmap vlans{};
    std::string text;                   ///< a sentence
    std::vector<std::string> commands;  ///< that mend it, on that switch; empty: nothing to type

    bool operator==(const Finding&) const = default;
};

/// Everything that is found, the worst first; what concerns the same port, cable and reason once,
/// with all its VLANs.
std::vector<Finding> checkNetwork(const Network& network);

}  // namespace network
