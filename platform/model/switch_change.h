// SPDX-License-Identifier: MIT
//
// A change of the switch that somebody asks for while it runs. Values and layout are those of the
// command channel.
#pragma once

#include <array>

#include "platform/contract/types.h"
#include "platform/model/mac_address.h"

namespace platform {

/// Changes of the software switch at run time; of any switch PortWireForm, PortRecord, PortRepair.
enum class SwitchChangeKind : u32 {
    PortAdd = 1,        ///< unit, text name; value 2 adds an aggregation
    PortDelete = 2,     ///< unit
    PortLink = 3,       ///< unit, value 1 up, 0 down
    PortPvid = 4,       ///< unit, value
    PortPermit = 5,     ///< unit, bitmap: the VLANs carried tagged; the PVID stays untagged
    PortEligible = 6,   ///< unit, value 1 or 0 (0 is reported as attribute 41)
    PortJoinAgg = 7,    ///< unit, value: the aggregation's unit
    PortLeaveAgg = 8,   ///< unit
    PortReset = 9,      ///< unit
    PortCable = 10,     ///< unit, text: the cable as the configuration writes it
    PortWireForm = 11,  ///< unit, value WireForm
    PortReplay = 12,    ///< unit, text: pcap file fed into the port; value: how many times the
                        ///< speed of the capture, 0 as fast as possible
    PortRecord = 13,    ///< unit, text: pcap file that both directions go to, empty: stop
    PortRepair = 14,    ///< unit, bitmap: VLANs of which the port's membership and registration do
                        ///< not go together; see SwitchDriver::change()
    VlanCreate = 20,    ///< bitmap: made static VLANs
    VlanDelete = 21,    ///< bitmap
    VlanType = 22,      ///< bitmap, value QorVlanType
    VlanAddPort = 23,   ///< unit, bitmap: added to the permit list, reported as a member added
    VlanRemovePort = 24,  ///< unit, bitmap
    TunnelMac = 30,       ///< unit, value 1 takes the address, 2 gives it back; mac
};

struct SwitchChangeRecord {
    u32 kind;  ///< SwitchChangeKind
    u32 unit;
    u32 value;
    MacAddress mac;
    std::array<u8, 2> reserved;
    std::array<u8, kVlanBitmapBytes> vlans;
    std::array<char, 256> text;  ///< terminated
};

}  // namespace platform
