// SPDX-License-Identifier: MIT
//
// The answer to Request::Snapshot: everything that is known of the switch at one moment, as
// sections. A section is the answer to another request of the channel, or a part that exists in
// snapshots only. What is known of each of 4094 VLANs comes as runs of VLANs that are alike, so
// that an answer stays small. Everything is in the machine's byte order.
//
// A client passes over sections that it does not know; a later version may add some.
#pragma once

#include "platform/channel/protocol.h"

namespace platform {

struct SnapshotSection {
    u32 part;  ///< Request that it is the answer to, or SnapshotPart
    u32 unit;  ///< as in the request's header
    u32 attribute;
    u32 status;  ///< of the answer; with another than 0 there are no bytes
    u32 length;  ///< bytes that follow
};
static_assert(sizeof(SnapshotSection) == 20);

/// Parts that no other request answers with; behind the numbers of Request. But for Moment and
/// NextApply, of a port.
enum class SnapshotPart : u32 {
    Moment = 1024,         ///< u64: ms since the epoch
    PortMachines = 1025,   ///< MachineRun each; VLANs that are left out are not in use
    PortHeard = 1026,      ///< VlanTimeRun each: neighbours declared them and did not withdraw them
    PortWithdrawn = 1027,  ///< VlanTimeRun each: neighbours withdrew them last
    PortMembers = 1028,    ///< VlanTimeRun each: learnt memberships, since when
    PortNeighbours = 1029,  ///< NeighbourRecord each
    PortLimits = 1030,      ///< PortLimitsRecord
    PortLeaveAlls = 1031,   ///< PortHistoryRecord
    NextApply = 1032,       ///< u64: ms until pending memberships are applied next
};

/// VLANs whose machines are in the same states.
struct MachineRun {
    u16 firstVid;
    u16 lastVid;
    MachineRecord machine;
    u8 reserved;
};
static_assert(sizeof(MachineRun) == 8);

/// VLANs to which the same happened in the same second.
struct VlanTimeRun {
    u16 firstVid;
    u16 lastVid;
    u32 agoSeconds;
};
static_assert(sizeof(VlanTimeRun) == 8);

/// Somebody whose PDUs come in at a port.
struct NeighbourRecord {
    MacAddress mac;
    u8 protocol;  ///< FrameKind of its last PDU: 1 native, 2 ieee, 3 gvrp
    u8 lost;      ///< 1: it was not heard for so long that it counts as gone
    u64 heardMs;  ///< ago
};
static_assert(sizeof(NeighbourRecord) == 16);

struct PortLimitsRecord {
    u32 maxVlans;  ///< that may be registered at a time; 0: no limit
};

}  // namespace platform
