// SPDX-License-Identifier: MIT
//
// The command channel on the wire: framing, request numbers, and the records of the platform's own
// requests. Shared by the server and by clients. Everything is in the machine's byte order.
#pragma once

#include <array>

#include "platform/contract/types.h"

namespace platform {

struct RequestHeader {
    u32 request;
    u32 unit;
    u32 attribute;
    u32 length;  ///< bytes of value that follow
};
static_assert(sizeof(RequestHeader) == 16);

struct ReplyHeader {
    u32 status;  ///< 0 for success
    /// Bytes of value that follow. The platform's own requests answer a refusal with a text: what
    /// was wrong and what is allowed.
    u32 length;
};
static_assert(sizeof(ReplyHeader) == 8);

/// Longest value of a request or reply; a longer one closes the connection.
inline constexpr u32 kMaxValueBytes = 65536;

enum class Request : u32 {
    // The daemon's handler table. PortFirst and PortNext return the unit as the value.
    PortFirst = 1,
    PortNext = 2,
    PortGet = 3,
    PortSet = 4,
    PortSync = 5,
    ScalarGet = 6,
    ScalarSet = 7,
    ScalarSync = 8,

    // The platform's own.
    HostInfo = 256,      ///< reply: HostInfoRecord
    PortList = 257,      ///< unit: list those above this unit; reply: SwitchPortRecord each
    PortVlans = 258,     ///< unit, attribute VlanSet; reply: VLAN bitmap
    SwitchVlans = 259,   ///< attribute QorVlanType; reply: VLAN bitmap
    PortCounters = 260,  ///< unit; reply: PortCountersRecord
    PortMachines = 261,  ///< unit; reply: 4095 x {applicant, registrar, flags}, see MachineRecord
    ShellCall = 272,     ///< value: ShellCallRecord; reply: what the function printed
    ShellList = 273,     ///< reply: names, each followed by '\n'
    SwitchChange = 288,  ///< value: SwitchChangeRecord
    StandbyTakeOver = 304,  ///< a standby becomes the active

    // What the host observes; records in watch_wire.h.
    PortStatistics = 320,   ///< unit; reply: PortStatisticsRecord
    StatisticsClear = 321,  ///< unit, 0 for all: begins to count from zero
    PortHistory = 322,      ///< unit; reply: PortHistoryRecord
    Changes = 323,          ///< value: ChangesQuery; reply: ChangesHeader, then ChangeRecord each
    CaptureRead = 324,      ///< value: CaptureQuery; reply: CaptureHeader, then the frames
    ConfigSource = 325,     ///< reply: path of the configuration file, empty when there is none
};
inline constexpr u32 kFirstPlatformRequest = 256;

/// Statuses of the platform's own requests, beside 0 and the errno-like 22 (bad argument).
enum class HostStatus : u32 {
    Ok = 0,
    NoSuchPort = 2,
    Unsupported = 38,
    BadArgument = 22,
    Exists = 17,
};

enum class DriverKind : u32 { SoftwareSwitch = 1, LinuxBridge = 2 };
enum class HostRole : u32 { Active = 1, Standby = 2 };

inline constexpr u32 kNameBytes = 64;
inline constexpr u32 kCableBytes = 240;  ///< two paths of UNIX sockets and their prefix

struct HostInfoRecord {
    u32 driver;  ///< DriverKind
    u32 role;    ///< HostRole
    u32 standbyConnected;
    u32 portCount;
    u64 uptimeMs;
    std::array<char, kNameBytes> name;  ///< of this switch, terminated
};

enum class WireForm : u32 { Native = 1, Ieee = 2, Auto = 3 };

struct SwitchPortRecord {
    u32 unit;
    u32 endType;   ///< QorEndType: port or aggregation
    u32 link;      ///< 1 up
    u32 eligible;  ///< 1: may run the protocol
    u32 mtu;
    u32 pvid;
    u32 protocols;    ///< bit 0: MVRP enabled, bit 1: GVRP enabled
    u32 wireForm;     ///< WireForm, as configured
    u32 heardForm;    ///< WireForm of the last MVRP frame received, 0 none
    u32 aggregation;  ///< unit of the aggregation the port is a member of, 0 none
    std::array<u8, 6> mac;
    std::array<u8, 6> peerMac;            ///< source of the last protocol frame received
    std::array<char, kNameBytes> name;    ///< terminated
    std::array<char, kCableBytes> cable;  ///< what the port is connected to, terminated
};

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
    u64 forwarded;  ///< frames of a port that takes no part, sent out of other ports
    u64 ignored;    ///< other destination or type, or VLAN-tagged
};

/// One VLAN of a port, by VLAN ID - 1.
struct MachineRecord {
    u8 applicant;
    u8 registrar;
    u8 flags;  ///< bit 1: REG-BIT, bit 0: PROPAGATE-BIT
};

struct ShellCallRecord {
    std::array<char, kNameBytes> name;  ///< terminated
    std::array<u32, 3> parameters;
};

/// Changes of the software switch at run time.
enum class SwitchChangeKind : u32 {
    PortAdd = 1,          ///< unit, text name; value 2 adds an aggregation
    PortDelete = 2,       ///< unit
    PortLink = 3,         ///< unit, value 1 up, 0 down
    PortPvid = 4,         ///< unit, value
    PortPermit = 5,       ///< unit, bitmap: the VLANs carried tagged; the PVID stays untagged
    PortEligible = 6,     ///< unit, value 1 or 0 (0 is reported as attribute 41)
    PortJoinAgg = 7,      ///< unit, value: the aggregation's unit
    PortLeaveAgg = 8,     ///< unit
    PortReset = 9,        ///< unit
    PortCable = 10,       ///< unit, text: the cable as the configuration writes it
    PortWireForm = 11,    ///< unit, value WireForm
    PortReplay = 12,      ///< unit, text: pcap file fed into the port; value: how many times the
                          ///< speed of the capture, 0 as fast as possible
    PortRecord = 13,      ///< unit, text: pcap file that both directions go to, empty: stop
    VlanCreate = 20,      ///< bitmap: made static VLANs
    VlanDelete = 21,      ///< bitmap
    VlanType = 22,        ///< bitmap, value QorVlanType
    VlanAddPort = 23,     ///< unit, bitmap: added to the permit list, reported as a member added
    VlanRemovePort = 24,  ///< unit, bitmap
    TunnelMac = 30,       ///< unit, value 1 takes the address, 2 gives it back; mac
};

struct SwitchChangeRecord {
    u32 kind;  ///< SwitchChangeKind
    u32 unit;
    u32 value;
    std::array<u8, 6> mac;
    std::array<u8, 2> reserved;
    std::array<u8, kVlanBitmapBytes> vlans;
    std::array<char, 256> text;  ///< terminated
};

}  // namespace platform
