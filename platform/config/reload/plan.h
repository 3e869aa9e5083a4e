// SPDX-License-Identifier: MIT
//
// What following a configuration would do to ports and VLANs, as far as both configurations and
// what is learnt now say it. Functions of their arguments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/config/host_config.h"

namespace platform {

/// A port of the switch as it is.
struct PlanPort {
    u32 unit = 0;
    std::string name;
    bool takesPart = false;
    VlanBitmap learnt{};
};

enum class PlanEffectKind {
    PortNew,       ///< a port that there was not
    PortGone,      ///< a port is deleted, with the VLANs that are learnt there
    PortJoins,     ///< a port begins to take part
    PortLeaves,    ///< a port takes no part any more, and forgets the VLANs that are learnt there
    Permitted,     ///< VLANs that a port may carry from then on
    Forbidden,     ///< VLANs that a port may carry no more
    Forgotten,     ///< VLANs learnt at a port that it would lose by that
    VlansCreated,  ///< static VLANs of the switch
    VlansDeleted,
};

struct PlanEffect {
    PlanEffectKind kind;
    std::string port;  ///< name; empty: the switch as a whole
    VlanBitmap vlans{};
};

/// The word of an effect on the command channel and in JSON: "portGone".
std::string_view planWord(PlanEffectKind kind);

/// The effects port by port, then those of the switch.
/// @param ports  that the switch has, ascending by unit
std::vector<PlanEffect> planEffects(const HostConfig& running, const HostConfig& next,
                                    const std::vector<PlanPort>& ports);

}  // namespace platform
