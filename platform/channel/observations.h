// SPDX-License-Identifier: MIT
//
// Records of the requests about what the host observes: statistics, who declared what and when,
// changes, frames. Shared by the server and by clients. Everything is in the machine's byte order.
#pragma once

#include <array>

#include "platform/contract/types.h"
#include "platform/model/mac_address.h"
#include "platform/model/port.h"

namespace platform {

/// In place of a time of something that did not happen.
inline constexpr u64 kNever = ~u64{0};

/// Events by PduEvent, drops by DropReason, PDUs by FrameKind less one: native, ieee, gvrp.
inline constexpr std::size_t kWireEventCount = 12;
inline constexpr std::size_t kWireDropCount = 10;
inline constexpr std::size_t kWireFormCount = 3;

/// Why a VLAN that a neighbour declared did not come onto the port.
enum class FailedRegistration : u32 {
    NotPermitted = 0,   ///< not on the port's permit list
    Forbidden = 1,      ///< registration mode forbidden
    Fixed = 2,          ///< registration mode fixed, and the VLAN is not static
    SwitchRefused = 3,  ///< the switch did not take the membership
    TooMany = 4,        ///< the port has registered as many as it may (max-vlans)
};
inline constexpr std::size_t kFailedRegistrationCount = 5;

struct PortStatisticsRecord {
    u64 sinceMs;  ///< how long it has been counted, ms
    std::array<u64, kWireFormCount> pdusIn;
    std::array<u64, kWireFormCount> pdusOut;
    u64 bytesIn;
    u64 bytesOut;
    std::array<u64, kWireEventCount> eventsIn;
    std::array<u64, kWireEventCount> eventsOut;
    std::array<u64, kWireDropCount> drops;
    u64 overflow;    ///< the daemon was too slow
    u64 notEnabled;  ///< the port did not take part
    u64 tunnelled;   ///< taken by a receive match
    u64 sendFailed;
    std::array<u64, kFailedRegistrationCount> failed;
    u64 lastPduMs;  ///< ms ago, or kNever
    MacAddress lastPduOrigin;
    MacAddress lastFailedOrigin;  ///< who declared it
    u32 lastFailedVid;            ///< of the last failed registration, 0 none
    u32 lastFailedReason;         ///< FailedRegistration
    u64 lastFailedMs;             ///< ms ago, or kNever
};

/// The last that was heard and said about a VLAN. Times are ms ago, 0xFFFFFFFF for never.
inline constexpr u32 kNever32 = ~u32{0};
struct VlanHistoryRecord {
    u32 joinMs;         ///< a neighbour declared it (New, JoinIn, JoinMt)
    u32 leaveMs;        ///< a neighbour withdrew it
    u32 sentMs;         ///< anything about it was sent
    MacAddress origin;  ///< who declared it last
    u8 joinEvent;       ///< PduEvent of that
    u8 sentEvent;       ///< PduEvent last sent
};
static_assert(sizeof(VlanHistoryRecord) == 20);
inline constexpr u32 kHistoryVlans = 1024;  ///< VLANs of one PortHistory reply

/// PortHistory; the attribute is the first VLAN ID of those that follow the record.
struct PortHistoryRecord {
    u64 leaveAllInMs;   ///< ms ago that a LeaveAll was received, or kNever
    u64 leaveAllOutMs;  ///< the same, sent
    u64 leaveMs;        ///< ms ago that the port's leave timer was last started, as far as the
                        ///< frames tell: a Lv or LeaveAll was received, or a LeaveAll sent
};

enum class ChangeKind : u32 {
    PortAdded = 1,
    PortRemoved = 2,
    LinkUp = 3,
    LinkDown = 4,
    ProtocolOn = 5,  ///< the port takes part in MVRP or GVRP
    ProtocolOff = 6,
    MemberAdded = 7,  ///< learnt VLANs came onto the port
    MemberRemoved = 8,
    MemberRefused = 9,    ///< the switch did not take the membership
    VlanLearnt = 10,      ///< dynamic VLANs came into being
    VlanLearntGone = 11,  ///< and went
    VlanStatic = 12,      ///< static VLANs came into being
    VlanStaticGone = 13,
    Machine = 14,  ///< the state of VLANs on the port changed
};

struct ChangesQuery {
    u64 since;     ///< sequence number of the last change known; kNever: none are asked for
    u32 machines;  ///< 1: look for changes of state too, at most a few times a second
    u32 reserved;
};

struct ChangesHeader {
    u64 newest;  ///< sequence number of the newest change
    u64 oldest;  ///< of the oldest that is kept; newest + 1 when there is none
    u32 count;   ///< records that follow: the first after `since`
    u32 gap;     ///< 1: changes after `since` are no longer kept, or `since` is of another run
};

struct ChangeRecord {
    u64 sequence;
    u64 timeMs;    ///< since the epoch
    u32 kind;      ///< ChangeKind
    u32 unit;      ///< 0 for a change of the switch as a whole
    u32 firstVid;  ///< 0 for a change that is about no VLAN
    u32 lastVid;
    MachineRecord before;  ///< Machine only
    MachineRecord after;
    std::array<u8, 2> reserved;
};
static_assert(sizeof(ChangeRecord) == 40);
inline constexpr u32 kChangesPerReply = 1000;

struct CaptureQuery {
    u64 since;  ///< sequence number of the last frame known; kNever: begin
};

struct CaptureHeader {
    u64 newest;  ///< sequence number of the newest frame
    u64 lost;    ///< frames between `since` and the first that follows, overwritten unread
    u32 count;   ///< frames that follow: CapturedFrame and its bytes each
    u32 reserved;
};

struct CapturedFrame {
    u64 sequence;
    u64 timeUs;  ///< since the epoch
    u32 unit;
    u16 length;  ///< bytes that follow
    u16 sent;    ///< 1 sent, 0 received
};
static_assert(sizeof(CapturedFrame) == 24);

/// Lines of the log that are about something; what is 0, or empty, is not looked at.
struct LogQuery {
    u64 since;   ///< sequence number of the last line known
    u64 fromMs;  ///< since the epoch: no earlier lines
    u32 unit;    ///< of a port
    u32 vid;
    std::array<char, kNameBytes> port;  ///< name of a port, terminated; of one that may be gone
};

struct LogHeader {
    u64 newest;  ///< sequence number of the newest line
    u64 oldest;  ///< of the oldest that is kept
    u64 next;    ///< `since` of the query that goes on; `newest` when there is no more
    u32 count;   ///< lines that follow, oldest first: a LogRecord and its bytes each
    u32 lost;    ///< 1: older lines of this run, after `since`, are no longer kept
};

/// Followed by the name of the port, the word of the event, the text, and the ranges: the first and
/// the last VLAN of each as u16.
struct LogRecord {
    u64 sequence;
    u64 timeMs;    ///< since the epoch
    u32 priority;  ///< as the journal numbers them
    u32 unit;      ///< of the port that the line is about, 0: of none
    u16 portBytes;
    u16 eventBytes;
    u16 textBytes;
    u16 vlanRanges;  ///< 0: it is about no VLAN
};
static_assert(sizeof(LogRecord) == 32);

}  // namespace platform
