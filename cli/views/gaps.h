// SPDX-License-Identifier: MIT
//
// What does not go together on a port: static and not declared, registered and no member, a member
// and not registered, registered elsewhere and not declared.
#pragma once

#include <map>

#include "cli/client/observed.h"
#include "cli/client/queries.h"

namespace cli {

/// VLANs of a port that runs the protocol whose membership, registration and declaration do not go
/// together. For a second that is so while changes are applied.
struct PortGaps {
    platform::VlanBitmap undeclared{};  ///< static and carried, and not declared
    /// Static and declared, and not said again since a LeaveAll. Not of gapsOf(), which knows no
    /// history.
    platform::VlanBitmap unrenewed{};
    platform::VlanBitmap unmembered{};      ///< registered, and the port is no member
    platform::VlanBitmap unregistered{};    ///< learnt members, and not registered
    platform::VlanBitmap unpassed{};        ///< registered on another port, and not declared here
    u32 registeredMs = platform::kNever32;  ///< ago that the first of `unmembered` was declared
    u32 withdrawnMs = platform::kNever32;   ///< and the first of `unregistered` withdrawn
};
/// Whether the port is to declare what is static: it runs the protocol, its link is up, and its
/// participant is not quiet.
bool saysWhatIsStatic(const PortView& view);
/// By unit; nothing is amiss on a port that does not run the protocol, or whose link is down.
/// What is static is declared for that, and not among `unpassed`.
std::map<u32, PortGaps> gapsOf(const VlansView& view);

}  // namespace cli
