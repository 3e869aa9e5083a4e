// SPDX-License-Identifier: MIT
//
// What `mvrpctl watch` prints: lines for people, or one JSON object a line.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cli/views/running.h"
#include "platform/channel/observations.h"

namespace cli {

using PortNames = std::map<u32, std::string>;

/// "12:00:01.123"
std::string clockText(u64 timeMs);
/// One change as a line, without the line's end: "12:00:01.123  west  10-12 came onto the port".
std::string changeText(const platform::ChangeRecord& change, const PortNames& names,
                       const Style& style);

/// Changes of one kind on one port within a tenth of a second, as one of all their VLANs.
struct GatheredChange {
    platform::ChangeRecord change{};  ///< the first of them
    platform::VlanBitmap vlans{};
};
std::vector<GatheredChange> gather(const std::vector<platform::ChangeRecord>& changes);
std::string changeText(const GatheredChange& gathered, const PortNames& names, const Style& style);

std::string changeJson(const platform::ChangeRecord& change, const PortNames& names);

/// The state that changes build on.
/// @param reason  "start", "gap": changes were lost or the daemon started anew
std::string snapshotJson(u64 sequence, const char* reason, const VlansView& view);
std::string snapshotText(const char* reason, const std::vector<RunningPort>& ports,
                         const Style& style);
/// The daemon went away; it is tried again.
std::string lostJson(const std::string& message);

/// Whether a person who watches memberships wants to see this change: not one of the machines that
/// neither registers nor declares anything.
bool isNotable(const platform::ChangeRecord& change);

}  // namespace cli
