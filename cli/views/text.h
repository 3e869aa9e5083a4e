// SPDX-License-Identifier: MIT
//
// What `mvrpctl show` prints for people.
#pragma once

#include <string>
#include <vector>

#include "cli/client/queries.h"
#include "cli/print/table.h"
#include "cli/views/vlan_groups.h"

namespace cli {

std::string globalText(const GlobalView& view, const Style& style);
std::string portsText(const std::vector<PortView>& ports, const Style& style);
std::string portText(const PortView& view, const Style& style);
std::string vlansText(const std::vector<VlanGroup>& groups, const Style& style);
std::string vlanText(u32 vid, const VlansView& view, const Style& style);
/// @param leaveTimeLeftMs  of the port's leave timer; 0: due, or not known
std::string stateText(const std::vector<StateGroup>& groups, u32 leaveTimeLeftMs,
                      const Style& style);
std::string countersText(const std::vector<PortView>& ports, const Style& style);

/// "active, no peer".
std::string roleText(const platform::HostInfoRecord& host);

/// Ranges cut to `width` characters, with the number of VLANs at the end: "2-9,40,... (20)".
std::string formatVlansWithin(const platform::VlanBitmap& vlans, std::size_t width);

}  // namespace cli
