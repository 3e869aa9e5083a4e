// SPDX-License-Identifier: MIT
//
// When something happened to the VLANs of a port, as runs of VLANs to which it happened in the same
// second. No state.
#pragma once

#include <vector>

#include "platform/channel/snapshot_records.h"

namespace platform {

inline constexpr u32 kMsPerSecond = 1000;

/// What was last heard of the VLANs of a port.
struct VlanTimes {
    std::vector<VlanTimeRun> heard;      ///< declared and not withdrawn since
    std::vector<VlanTimeRun> withdrawn;  ///< withdrawn and not declared since
};

/// Adds a VLAN to which it happened so long ago. @pre VLANs are added in ascending order
inline void addVlanTime(std::vector<VlanTimeRun>& runs, u32 vid, u32 agoSeconds) {
    if (!runs.empty() && runs.back().lastVid + 1U == vid && runs.back().agoSeconds == agoSeconds)
        runs.back().lastVid = static_cast<u16>(vid);
    else
        runs.push_back({static_cast<u16>(vid), static_cast<u16>(vid), agoSeconds});
}

}  // namespace platform
