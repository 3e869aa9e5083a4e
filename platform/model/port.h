// SPDX-License-Identifier: MIT
//
// What is known of a port beside its switch: the form it speaks, its sets of VLANs, its counters,
// its machines. Values and layouts are those of the command channel.
#pragma once

#include "platform/contract/types.h"

namespace platform {

/// Longest name of a port or switch, with its end.
inline constexpr u32 kNameBytes = 64;

enum class WireForm : u32 { Native = 1, Ieee = 2, Auto = 3 };

/// Which set of VLANs of a port is asked for.
enum class VlanSet : u32 { Permitted = 196, PermittedTagged = 184, Dynamic = 198, Untagged = 197 };

struct PortCountersRecord {
    u64 framesIn;  ///< protocol frames delivered to the daemon
    u64 framesOut;
    u64 bytesIn;
    u64 bytesOut;
    u64 droppedMalformed;
    u64 droppedOverflow;  ///< the daemon was too slow
    u64 droppedDisabled;  ///< the port does not take part
    u64 droppedTunnel;    ///< taken by a receive match
    u64 sendFailed;
    u64 forwarded;      ///< frames of a port that takes no part, sent out of other ports
    u64 ignored;        ///< other destination or type, or VLAN-tagged
    u64 droppedBudget;  ///< more PDUs than the port takes a second
    u64 droppedLoop;    ///< this switch had sent them: the port is connected to one of its own
};

/// One VLAN of a port, by VLAN ID - 1.
struct MachineRecord {
    u8 applicant;
    u8 registrar;
    u8 flags;  ///< bit 1: REG-BIT, bit 0: PROPAGATE-BIT
};

}  // namespace platform
