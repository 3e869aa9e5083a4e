// SPDX-License-Identifier: MIT
//
// The protocol of the command channel: framing, request numbers, and the records of the platform's
// own requests. Shared by the server and by clients. Everything is in the machine's byte order.
#pragma once

#include <array>

#include "platform/contract/corrections.h"
#include "platform/contract/types.h"
#include "platform/model/host.h"
#include "platform/model/port.h"
#include "platform/model/switch_change.h"

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
/// Longest value of the reply to Request::Snapshot, which answers all in one.
inline constexpr u32 kMaxSnapshotBytes = u32{64} << 20;

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
    Corrections = 262,   ///< reply: CorrectionsRecord
    CorrectionLast =
        263,             ///< unit, attribute: VLAN ID, 0 for the port; reply: CorrectionLastRecord
    PortMachines = 261,  ///< unit; reply: 4095 x {applicant, registrar, flags}, see MachineRecord
    Losses = 264,        ///< reply: LossesRecord
    ShellCall = 272,     ///< value: ShellCallRecord; reply: what the function printed
    ShellList = 273,     ///< reply: names, each followed by '\n'
    SwitchChange = 288,  ///< value: SwitchChangeRecord
    StandbyTakeOver = 304,  ///< attribute: TakeOverForce; a standby becomes the active
    StandbyAgree = 305,     ///< version 1 of the standby link began with it; always refused
    StandbyHello = 306,     ///< value: LinkHello; reply: LinkState, see link_protocol.h
    StandbyBeat = 307,      ///< value: LinkBeat; reply: LinkBeat
    StandbyInfo = 308,      ///< reply: StandbyInfoRecord

    // What the host observes; records in observations.h.
    PortStatistics = 320,   ///< unit; reply: PortStatisticsRecord
    StatisticsClear = 321,  ///< unit, 0 for all: begins to count from zero
    PortHistory = 322,      ///< unit; reply: PortHistoryRecord
    Changes = 323,          ///< value: ChangesQuery; reply: ChangesHeader, then ChangeRecord each
    CaptureRead = 324,      ///< value: CaptureQuery; reply: CaptureHeader, then the frames
    ConfigSource = 325,     ///< reply: path of the configuration file, empty when there is none
    ConfigApply = 326,  ///< attribute: ConfigForce; reads it again; reply: changes, each with '\n'
    LogRead = 327,      ///< value: LogQuery; reply: LogHeader, then LogRecord and its bytes each
    Snapshot = 328,     ///< reply: SnapshotSection and its bytes each, see snapshot_records.h
    /// attribute: ConfigForce; with it a descriptor of sealed memory: PlanDocument and its bytes
    /// each, the main file first; reply: lines, see PlanMark
    ConfigPlan = 329,
};

/// Longest value of the reply to a request.
constexpr u32 maxReplyBytes(u32 request) {
    return request == static_cast<u32>(Request::Snapshot) ? kMaxSnapshotBytes : kMaxValueBytes;
}

/// Whether Request::ConfigApply may take down what a person is asked about.
enum class ConfigForce : u32 { No = 0, Yes = 1 };
inline constexpr u32 kFirstPlatformRequest = 256;

/// Name of the socket beside that of the command channel at which everybody may only read.
inline constexpr const char* kReadSocketName = "mvrpread.socket";

/// A file of a configuration whose effect is asked for; followed by its path, as problems are to
/// name it, and by its text.
struct PlanDocument {
    u32 pathBytes;
    u32 textBytes;
};
/// Most bytes of all files of a configuration whose effect is asked for.
inline constexpr u32 kMaxPlanBytes = 256 * 1024;

/// What a line of a plan begins with.
enum class PlanMark : char {
    Wrong = '?',      ///< what is wrong with the files: there is nothing else then
    Refused = '!',    ///< why Request::ConfigApply would refuse it without ConfigForce
    Setting = '=',    ///< a setting that would change, in the words of the file
    NextStart = '~',  ///< a section whose change would wait for the next start
    Effect = '>',     ///< PORT, what, VLANs, with tabs between: what that would do; see PlanEffect
};
/// Whether Request::StandbyTakeOver may make a second active.
enum class TakeOverForce : u32 { No = 0, Yes = 1 };

inline constexpr u32 kCableBytes = 240;  ///< two paths of UNIX sockets and their prefix

struct HostInfoRecord {
    u32 driver;  ///< DriverKind
    u32 role;    ///< HostRole
    u32 standbyConnected;
    u32 portCount;
    u64 uptimeMs;
    std::array<char, kNameBytes> name;  ///< of this switch, terminated
};

/// Two actives that saw each other, the last time.
enum class TwoActives : u32 {
    Never = 0,
    StoodBack = 1,  ///< this one stood back
    WentOn = 2,     ///< the other one was to stand back
};

struct StandbyInfoRecord {
    u32 configured;    ///< 1: of a pair
    u32 role;          ///< HostRole
    u32 otherThere;    ///< 1: the other end of the pair was heard in time
    u32 otherRole;     ///< HostRole, of the other end that is there
    u32 otherProcess;  ///< id of it
    u32 twoActives;    ///< TwoActives
    u64 twoActivesAgoMs;
    u64 heardAgoMs;  ///< what was last heard of the other end, or that there was none
};

/// What this process could not keep or pass on, since its start.
struct LossesRecord {
    u64 logLines;         ///< of the log, whose reader was too slow
    u64 recordedFrames;   ///< of recordings, whose file was too slow or can not be written
    u64 forwardedFrames;  ///< copies for other ports of frames that the daemon does not take
};
static_assert(sizeof(LossesRecord) == 24);

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
    MacAddress mac;
    MacAddress peerMac;                   ///< source of the last protocol frame received
    std::array<char, kNameBytes> name;    ///< terminated
    std::array<char, kCableBytes> cable;  ///< what the port is connected to, terminated
    u32 cableError;     ///< errno value of what keeps the cable from working, 0 nothing
    u32 guardLost;      ///< how often others took away the port's guard (Linux driver)
    u32 guardDisputed;  ///< 1: they do so again and again, and it is put back with delay
    u32 loopWith;       ///< unit whose frames came in here, so that it takes no part; 0 none
};

/// Bits and indices of corrections are those of Correction; places for more than there are.
inline constexpr u32 kCorrectionPlaces = 32;
static_assert(kCorrectionCount <= kCorrectionPlaces);
struct CorrectionsRecord {
    u32 on;     ///< bits of the CorrectionSet that the daemon runs with
    u32 known;  ///< bits of all that this program knows
    std::array<u64, kCorrectionPlaces> acted;  ///< how often each has changed an outcome
};
static_assert(sizeof(CorrectionsRecord) == 264);

/// The last correction that decided for a VLAN on a port. What is asked for may be forgotten: the
/// memory is bounded.
inline constexpr u32 kNoCorrection = ~u32{0};
struct CorrectionLastRecord {
    u32 correction;  ///< Correction, or kNoCorrection
    u32 agoMs;       ///< at most 0xFFFFFFFE
};

struct ShellCallRecord {
    std::array<char, kNameBytes> name;  ///< terminated
    std::array<u32, 3> parameters;
};

}  // namespace platform
