// SPDX-License-Identifier: MIT
//
// What turns learnt VLANs of a port into configured ones, as commands for a shell.
#pragma once

#include <string>
#include <vector>

#include "cli/client/queries.h"

namespace cli {

struct MakeStatic {
    platform::VlanBitmap vlans{};      ///< that are learnt on the port
    platform::VlanBitmap notLearnt{};  ///< asked for, and not learnt there: they stay out
    std::vector<std::string> commands;
    std::vector<std::string> others;  ///< ports that become members, too: their permit lists say so
};

/// @param vlans  what is wanted; @param linux  the daemon drives a bridge
MakeStatic makeStatic(const VlansView& view, const PortView& port,
                      const platform::VlanBitmap& vlans, bool linux);

/// The commands, and as comments of a shell what else there is to know.
std::string makeStaticText(const MakeStatic& made, const std::string& port);
std::string makeStaticJson(const MakeStatic& made, const std::string& port, bool done);

}  // namespace cli
