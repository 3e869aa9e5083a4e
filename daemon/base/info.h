// SPDX-License-Identifier: MIT
//
// The one global state record of the daemon, and the numbers that its fields are read with.
//
// All that the daemon knows is here, in the items of the two pools and the array of unit places,
// and with the platform: who keeps the record, and puts another in its place, has another daemon.
// Beside it stands one store of answers, which fits any record and is not put in its place:
// gMvrpSentBefore, which is found by the machines that it is about. gMvrpBytes is chosen once,
// before main, and gMvrpSyncDebug is read by nothing. tests/checks/symbols.py fails for any other
// variable.
//
// Lock: every field but the sockets and the limits is touched with gMvrpInfo.sem held
// (mvrpLock/mvrpUnlock), from the protocol task and from the command task.
#pragma once

#include "daemon/base/list.h"
#include "platform/contract/corrections.h"
#include "platform/contract/management.h"
#include "platform/contract/sil.h"
#include "platform/contract/types.h"

/// Log ids, as the number added to kMvrpLogBase and the index into MvrpInfo::logLevel.
enum MvrpLog : u32 {
    MVRP_LOG_PLATFORM = 0,
    MVRP_LOG_START = 1,
    MVRP_LOG_SYNC_SEND = 2,
    MVRP_LOG_EVENT = 3,
    MVRP_LOG_TRACE = 5,
    MVRP_LOG_SYNC_APPLY = 6,
    MVRP_LOG_PROTO_ENABLE = 7,   ///< operator message
    MVRP_LOG_PROTO_DISABLE = 8,  ///< operator message
    MVRP_LOG_COUNT = 9,
};
inline constexpr u32 kMvrpLogBase = 0x04040000;

/// Receive buffer of the route socket, set at start and again by each global enable, in bytes.
inline constexpr u32 kMvrpRouteReceiveBufferBytes = 102400;

struct MvrpPairItem;
struct MvrpUnitPlace;

struct MvrpInfo {
    MvrpListNode portList;   ///< MvrpPortEntry records, ascending portunit
    SilMemPool portPool;     ///< "mvrp_port"; exists while MVRP is enabled
    SilTimerList timerList;  ///< every timer of the daemon
    SilTimerNode pendingTimer;
    SilTimerHandler pendingHandler;  ///< of the pending timer, for floors below its own
    bool pendingGaveWay;        ///< the last run of the pending timer ended because a frame waited
    SilMemPool vlanPool;        ///< "mvrp_vlan"; exists while MVRP is enabled
    MvrpUnitPlace* unitPlaces;  ///< ascending by unit; exists while MVRP is enabled
    u32 unitNum;                ///< places in use
    u32 unitRoom;               ///< places there is memory for
    MvrpPairItem* pairItems;    ///< the items of vlanPool in use, one for each pending pair
    u32 sem;                    ///< the daemon's one mutex
    s32 routeSock;
    s32 gvrpDataSock;
    s32 mvrpDataSock;
    s32 dbgSock;  ///< 0 until mvrpDbgSockInit()
    u32 maxPortNum;
    u32 maxVlanNumPerIf;     ///< pending pairs budgeted per port
    u8 enable;               ///< MvrpSwitchState
    u8 gvrpCompliance;       ///< MvrpSwitchState
    u8 runningRole;          ///< shown by the global dump only; never written
    u8 debug;                ///< MvrpDebug bits
    u16 dbgVlan;             ///< trace filter: only this VLAN; 0 all
    u32 dbgPort;             ///< trace filter: only this port unit; 0 all
    u32 vlanEntryNum;        ///< pending pairs in existence
    u32 mvrpNum;             ///< VLAN interfaces deleted since the start
    u16 vlanNumPerTimes;     ///< VLANs applied per batch on a plain port
    u16 vlanNumPerTimesAgg;  ///< the same on an aggregation
    u8 logLevel[MVRP_LOG_COUNT];
    CorrectionSet corrections;  ///< that are on; from the host, at the start
};

extern MvrpInfo gMvrpInfo;

/// True while the ports speak GVRP instead of MVRP.
inline bool mvrpGvrpCompliant() {
    return gMvrpInfo.gvrpCompliance == MVRP_ON;
}
