// SPDX-License-Identifier: MIT
//
// What runs on each port, held against what the switch does now.
#pragma once

#include <string>
#include <vector>

#include "cli/client/queries.h"
#include "cli/print/table.h"

namespace cli {

struct RunningPort {
    PortView view;
    platform::VlanBitmap inSwitch{};  ///< the port is a member: static and permitted, or learnt
    platform::VlanBitmap missing{};   ///< registered, and the port is no member
    platform::VlanBitmap extra{};     ///< learnt membership that nobody declares any more
};

/// Holds the ports of a view against its VLANs.
std::vector<RunningPort> compareRunning(VlansView view);

/// "link up, MVRP on", in the colour of the worse of the two.
Cell conditionOf(const PortView& view);

/// One block for each port.
std::string runningText(const std::vector<RunningPort>& ports, const Style& style);
/// One line for each port, with numbers in place of lists.
std::string summaryText(const std::vector<RunningPort>& ports, const Style& style);
/// Settings of the switch and of the ports, and their permit lists.
std::string configText(const GlobalView& global, const std::vector<PortView>& ports,
                       const Style& style);

}  // namespace cli
