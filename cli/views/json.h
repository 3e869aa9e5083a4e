// SPDX-License-Identifier: MIT
//
// What mvrpctl prints with -j. The shape does not depend on how much there is to tell: what is not
// known is null, what is empty is an empty list, VLANs are ranges ("-" for none), times are
// milliseconds. Keys follow the object names of the IEEE 802.1Q bridge MIB where it has one. The
// member "version" of every answer counts up when a key changes its meaning.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/client/queries.h"
#include "cli/views/running.h"
#include "cli/views/statistics.h"
#include "cli/views/vlan_groups.h"

namespace cli {

std::string globalJson(const GlobalView& view);
std::string portsJson(const std::vector<PortView>& ports);
std::string vlansJson(const std::vector<VlanGroup>& groups);
/// @param leaveTimeLeftMs  of the port's leave timer; nothing when it is not known
std::string stateJson(const PortView& port, const std::vector<StateGroup>& groups,
                      std::optional<u32> leaveTimeLeftMs);
std::string countersJson(const std::vector<PortView>& ports);
std::string runningJson(const std::vector<RunningPort>& ports);
std::string summaryJson(const std::vector<RunningPort>& ports);
std::string configJson(const GlobalView& global, const std::vector<PortView>& ports);
std::string statisticsJson(const std::vector<PortStatistics>& ports);
/// Of a configuration file that is right, or was written.
std::string fileJson(const std::string& file);
std::string changesJson(const std::vector<std::string>& changes);
std::string captureJson(const std::string& file, u64 frames, u64 lost);
/// Of `wait`. @param waitedMs  how long it took
std::string waitJson(const std::string& port, const platform::VlanBitmap& vlans, bool onPort,
                     u64 waitedMs);
std::string linesJson(const char* key, const std::vector<std::string>& lines);
std::string replyJson(u32 status, const std::string& hexValue);

/// Of a change that was made, and of a failure.
std::string doneJson();
inline constexpr std::string_view kWrongUsage = "wrongUsage";
inline constexpr std::string_view kNoConnection = "noConnection";
std::string errorJson(u32 status, const std::string& message);
/// Of a mistake in the command line, or of a daemon that was not reached: nobody gave a status.
std::string errorJson(std::string_view name, const std::string& message);

}  // namespace cli
