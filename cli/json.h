// SPDX-License-Identifier: MIT
//
// What mvrpctl prints with -j. The shape does not depend on how much there is to tell: what is not
// known is null, what is empty is an empty list, VLANs are ranges ("-" for none), times are
// milliseconds. Keys follow the object names of the IEEE 802.1Q bridge MIB where it has one. The
// member "version" of every answer counts up when a key changes its meaning.
#pragma once

#include <string>
#include <vector>

#include "cli/queries.h"
#include "cli/vlan_groups.h"

namespace cli {

std::string globalJson(const GlobalView& view);
std::string portsJson(const std::vector<PortView>& ports);
std::string vlansJson(const std::vector<VlanGroup>& groups);
std::string stateJson(const PortView& port, const std::vector<StateGroup>& groups);
std::string countersJson(const std::vector<PortView>& ports);
std::string linesJson(const char* key, const std::vector<std::string>& lines);
std::string replyJson(u32 status, const std::string& hexValue);

/// Of a change that was made, and of a failure.
std::string doneJson();
std::string errorJson(u32 status, const std::string& message);

}  // namespace cli
