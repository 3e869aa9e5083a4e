// SPDX-License-Identifier: MIT
//
// What the host remembers of one port: counters of PDUs and events, and for each VLAN when it was
// last declared, withdrawn and spoken of. Plain records, owned by FrameBook. Times are
// milliseconds on the monotonic clock, 0 for never; those of VLANs count from the start of the
// book and fit 32 bits for 49 days, after which they are taken for never.
#pragma once

#include <array>
#include <span>

#include "platform/channel/observations.h"
#include "platform/model/vlan_ranges.h"
#include "platform/wire/events.h"
#include "platform/wire/frame.h"

namespace platform {

inline constexpr u32 kVlanIds = 4096;

struct VlanMemory {
    u32 joinMs = 0;
    u32 leaveMs = 0;
    u32 sentMs = 0;
    MacAddress origin{};  ///< who sent the join
    PduEvent joinEvent = PduEvent::New;
    PduEvent sentEvent = PduEvent::New;
};

/// Somebody whose PDUs come in at a port.
struct Neighbour {
    MacAddress mac{};
    u64 heardMs = 0;    ///< 0: there is none at this place
    u64 longestMs = 0;  ///< of the pauses between two PDUs
    bool said = false;  ///< the log knows that it is there
    bool lost = false;  ///< and that it was not heard for long; the place may be given to another
    FrameKind kind = FrameKind::None;  ///< of its last PDU
};

/// As many of a port are told apart; more than that are not spoken of.
inline constexpr std::size_t kMostNeighbours = 8;

/// The frame that a port sent last, and how often in a row: a switch repeats itself, mostly. Its
/// events are counted and remembered when another is sent, or somebody asks.
struct RepeatedFrame {
    static constexpr std::size_t kMostBytes = 1600;

    u32 times = 0;  ///< not counted yet
    u32 length = 0;
    u64 lastMs = 0;
    std::array<u8, kMostBytes> bytes;

    std::span<const u8> frame() const { return std::span(bytes).first(length); }
};

struct PortRecord {
    PortStatisticsRecord statistics{};  ///< its times are filled in when it is read
    u64 countedFromMs = 0;
    u64 lastPduMs = 0;
    u64 leaveAllInMs = 0;
    u64 leaveAllOutMs = 0;
    u64 leaveTimerMs = 0;   ///< when what starts the leave timer was last seen
    u32 permittedAsOf = 0;  ///< SwitchFacts::changes when `permitted` was read, 0: never
    VlanBitmap permitted{};
    u32 registration = 1;  ///< registration mode: 1 normal, 2 fixed, 3 forbidden
    u64 lastFailedMs = 0;
    u64 refusals = 0;          ///< registrations that the daemon was not let make
    u64 refusalsSaidMs = 0;    ///< when the log said so last
    bool refusalsSaid = true;  ///< the log knows of the last
    std::array<Neighbour, kMostNeighbours> neighbours{};
    RepeatedFrame sent;
    std::array<VlanMemory, kVlanIds> vlans{};  ///< by VLAN ID
};

}  // namespace platform
