// SPDX-License-Identifier: MIT
//
// VLANs that look alike, put together so that four thousand of them fit a page.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/client/queries.h"

namespace cli {

/// VLANs of one kind with the same ports. Ports are indexes into VlansView::ports.
struct VlanGroup {
    platform::VlanBitmap vlans{};
    u32 kind = 0;                            ///< QorVlanType
    std::vector<std::string> taggedPorts;    ///< the switch's configuration carries them tagged
    std::vector<std::string> untaggedPorts;  ///< the same, untagged
    std::vector<std::string> dynamicPorts;   ///< learnt
};

/// VLANs of a port whose machines are alike.
struct StateGroup {
    platform::VlanBitmap vlans{};
    platform::MachineRecord machine{};
};

/// All VLANs of the switch, or only `vid`; groups ordered by their first VLAN. Empty when there is
/// no such VLAN.
std::vector<VlanGroup> groupVlans(const VlansView& view, std::optional<u32> vid);

/// The VLANs of a port whose machine is in use (a flag is set, or the applicant has left VO), or
/// only `vid`, in use or not.
std::vector<StateGroup> groupStates(const PortView& port, std::optional<u32> vid);

std::size_t countVlans(const platform::VlanBitmap& vlans);

}  // namespace cli
