// SPDX-License-Identifier: MIT
//
// Frames as people read them: every VLAN with its event, in both forms of MVRP and in GVRP. Works
// without a daemon.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "cli/print/table.h"
#include "platform/model/vlan_ranges.h"
#include "platform/wire/events.h"
#include "platform/wire/pcapng.h"

namespace cli {

/// VLANs with one event; `vlans` is empty for a LeaveAll, which is about all.
struct DecodedEvent {
    platform::PduEvent event;
    platform::VlanBitmap vlans{};
};

struct DecodedFrame {
    u64 timeUs = 0;  ///< since the epoch; 0: not known
    platform::FrameKind kind = platform::FrameKind::None;
    platform::DropReason reason = platform::DropReason::None;  ///< why it can not be read whole
    platform::MacAddress source{};
    std::size_t bytes = 0;
    platform::FrameOrigin origin{};
    std::vector<DecodedEvent> events;  ///< one for each event that occurs, in order of occurrence
};

DecodedFrame decodeFrame(std::span<const u8> bytes, u64 timeUs);

std::string decodedText(const std::vector<DecodedFrame>& frames, const Style& style);
std::string decodedJson(const std::vector<DecodedFrame>& frames);

}  // namespace cli
