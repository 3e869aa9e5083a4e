// SPDX-License-Identifier: MIT
//
// `call`: one internal operation of the daemon. Operations on a port print `none` for a unit
// without an entry, but those that are handed the missing port on purpose.
#include <algorithm>
#include <array>
#include <limits>

#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "daemon/events/route.h"
#include "daemon/fsm/machine.h"
#include "daemon/map/port_enable.h"
#include "daemon/map/propagate.h"
#include "daemon/map/static_vlan.h"
#include "daemon/mgmt/standby.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/pdu/leaveall.h"
#include "daemon/pdu/receive.h"
#include "daemon/pdu/send.h"
#include "daemon/sync/standby.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"
#include "platform/contract/qor_hwil.h"
#include "platform/virtual/state/sync_message.h"
#include "tests/scenario/lang/commands.h"
#include "tests/scenario/lang/sync_words.h"

namespace scenario {
namespace {

constexpr u32 kMostSyncRoom = 65536;

/// Result of an operation, and what is printed behind it.
struct CallResult {
    u32 status = kStatusOk;
    std::string extra;
};

u32 statusOf(s32 result) {
    return static_cast<u32>(result);
}

u32 parseVid(std::string_view word) {
    return static_cast<u32>(parseNumber(word, kMvrpVlanFirst, kMvrpVlanLast, "VLAN ID"));
}

u8 parseByte(std::string_view word, std::string_view what) {
    return static_cast<u8>(parseNumber(word, 0, std::numeric_limits<u8>::max(), what));
}

// Operations on one port -------------------------------------------------------------------------

CallResult addEntry(MvrpPortEntry& port, Words words) {
    const u32 vid = parseVid(words[0]);
    // A pair is not added twice: every caller looks first.
    const bool there =
        mvrpPortVlanEntryGet(port.portunit, vid) || mvrpPortVlanEntryAdd(port.portunit, vid);
    return {there ? kStatusOk : kStatusFailed, {}};
}

CallResult deleteEntry(MvrpPortEntry& port, Words words) {
    return {mvrpPortVlanEntryDel(port.portunit, parseVid(words[0])), {}};
}

CallResult leaveIndication(MvrpPortEntry& port, Words words) {
    MvrpVlanBitmap bitmap{};
    storeBitmap(parseVlanSet(words[0]), bitmap);
    QorBuffer descriptor = mvrpBitmapBuffer(bitmap);
    const u32 status = mvrpLeaveIndication(&descriptor, &port);
    return {status, " vids=" + formatVlanSet(vlanSetOf(bitmap))};
}

CallResult expireTimer(MvrpPortEntry& port, Words words) {
    struct Slot {
        std::string_view name;
        SilTimerHandler handler;
    };
    static constexpr auto kSlots = std::to_array<Slot>({
        {"join", mvrpJoinTimerHandler},
        {"leave", mvrpLeaveTimerHandler},
        {"vjoin", mvrpJoinTimerHandler},
        {"period", mvrpPeriodTransTimerHandler},
        {"leaveall", mvrpLeaveallTimerHandler},
    });
    return {rowNamed(kSlots, words[0], "a timer").handler(&port), {}};
}

CallResult buildSync(MvrpPortEntry& port, Words words) {
    const u32 type = parseU32(words[0], "TYPE");
    std::vector<u8> buffer(
        static_cast<std::size_t>(parseNumber(words[1], 0, kMostSyncRoom, "SIZE")));
    const u32 length = mvrpVlanSyncPktBuild(&port, type, buffer);
    return {length, length == 0 ? "" : " " + formatSyncMessage(buffer)};
}

/// An operation on a port; `words` are those behind the unit.
struct PortOperation {
    std::string_view name;
    std::size_t numbers;  ///< words behind the unit
    CallResult (*run)(MvrpPortEntry& port, Words words);
};

constexpr auto kPortOperations = std::to_array<PortOperation>({
    {"portdel", 0,
     [](MvrpPortEntry& port, Words) {
         mvrpPortEntryDel(&port);
         return CallResult{};
     }},
    {"enable", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpPortEntryEnable(&port)), {}};
     }},
    {"disable", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpPortEntryDisable(&port)), {}};
     }},
    {"entryadd", 1, addEntry},
    {"entrydel", 1, deleteEntry},
    {"joinsend", 0,
     [](MvrpPortEntry& port, Words) {
         mvrpMapPropagateJoinMsgSend(&port);
         return CallResult{};
     }},
    {"leavesend", 0,
     [](MvrpPortEntry& port, Words) {
         mvrpMapPropagateLeaveMsgSend(&port);
         return CallResult{};
     }},
    {"leaveind", 1, leaveIndication},
    {"addstatic", 1,
     [](MvrpPortEntry& port, Words words) {
         return CallResult{mvrpPortAddStaticVlan(&port, parseVid(words[0])), {}};
     }},
    {"delstatic", 1,
     [](MvrpPortEntry& port, Words words) {
         return CallResult{mvrpPortDelStaticVlan(&port, parseVid(words[0])), {}};
     }},
    {"regstatic", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpRegisterStaticVlans(&port)), {}};
     }},
    {"deregdyn", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpDeregisterDynamicVlan(&port)), {}};
     }},
    {"deregall", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpDeregisterAllVlans(&port)), {}};
     }},
    {"rcvleaveall", 0,
     [](MvrpPortEntry& port, Words) {
         mvrpRcvLeaveall(&port);
         return CallResult{};
     }},
    {"sendleaveall", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpSendLeaveallPkt(&port)), {}};
     }},
    {"gvrpjoin", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpGvrpSendJoinPkt(&port)), {}};
     }},
    {"gvrpfwdjoin", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpForwardGvrpJoinPkt(&port)), {}};
     }},
    {"gvrpfwdleave", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpForwardGvrpLeavePkt(&port)), {}};
     }},
    {"gvrpleaveall", 0,
     [](MvrpPortEntry& port, Words) {
         return CallResult{statusOf(mvrpGvrpSendLeaveallPkt(&port)), {}};
     }},
    {"expire", 1, expireTimer},
    {"syncbuild", 2, buildSync},
});

// Operations on a VLAN of a source port: `OP V U` ------------------------------------------------

struct VlanOperation {
    std::string_view name;
    void (*run)(u32 vid, MvrpPortEntry* source);
};

constexpr auto kVlanOperations = std::to_array<VlanOperation>({
    {"join", mvrpMapPropagateJoin},
    {"leave", mvrpMapPropagateLeave},
    {"clrprop", mvrpClrPropagate},
});

// All others -------------------------------------------------------------------------------------

u32 addPort(Words words) {
    return mvrpPortEntryAdd(parseU32(words[0], "U")) != nullptr ? kStatusOk : kStatusFailed;
}

u32 receiveSync(Words words) {
    auto bytes = parseSyncWords(words);
    const QorBuffer command{bytes.data(), static_cast<u32>(bytes.size())};
    return mvrpSyncPktRecv(&command);
}

u32 resetPort(Words words) {
    mvrpIfResetConfig(parseU32(words[0], "IDX"));
    return kStatusOk;
}

u32 filterPort(Words words) {
    return statusOf(mvrpSocketPktFilter(parseU32(words[0], "IDX"), parseMac(words[1]),
                                        parseU32(words[2], "OP")));
}

u32 slotType(Words words) {
    QorCommandControl out{};
    return mvrpSlotTypeGet(&out, 0, 0, parseU32(words[0], "N"));
}

u32 changeMachine(Words words) {
    u8 machine = parseByte(words[0], "BYTE");
    return mvrpFsmChange(&machine, parseU32(words[1], "EVENT"), parseU32(words[2], "PROTOCOL"));
}

u32 initMachine(Words words) {
    u8 machine = parseByte(words[0], "BYTE");
    mvrpFsmInit(&machine, parseU32(words[1], "KIND"));
    return machine;
}

struct OtherOperation {
    std::string_view name;
    std::size_t least;  ///< words that follow
    std::size_t most;
    u32 (*run)(Words words);
};

constexpr auto kOtherOperations = std::to_array<OtherOperation>({
    {"portadd", 1, 1, addPort},
    {"portvlandel", 0, 0,
     [](Words) {
         mvrpPortVlanDel();
         return kStatusOk;
     }},
    {"pending", 0, 0, [](Words) { return mvrpPendingTimerHandler(nullptr); }},
    {"sendpkt", 1, 1,
     [](Words words) {
         return statusOf(mvrpPortSendPkt(mvrpPortEntryGet(parseU32(words[0], "U"))));
     }},
    {"sendjoin", 1, 1,
     [](Words words) {
         return statusOf(mvrpPortSendJoinPkt(mvrpPortEntryGet(parseU32(words[0], "U"))));
     }},
    {"syncrecv", 1, SIZE_MAX, receiveSync},
    {"reset", 1, 1, resetPort},
    {"filter", 3, 3, filterPort},
    {"role", 0, 0, [](Words) { return mvrpRunningRoleGet(); }},
    {"slot", 1, 1, slotType},
    {"fsm", 3, 3, changeMachine},
    {"fsminit", 2, 2, initMachine},
    {"gidevent", 1, 1,
     [](Words words) { return mvrpAttributeEventToGidEvent(parseU32(words[0], "N")); }},
});

/// The row with that name, or null.
template <typename Table>
const typename Table::value_type* findRow(const Table& table, std::string_view name) {
    const auto row = std::find_if(table.begin(), table.end(),
                                  [name](const auto& candidate) { return candidate.name == name; });
    return row == table.end() ? nullptr : &*row;
}

std::string namesOfOperations() {
    std::string names;
    const auto append = [&names](const auto& table) {
        for (const auto& row : table)
            names += (names.empty() ? "" : ", ") + std::string(row.name);
    };
    append(kPortOperations);
    append(kVlanOperations);
    append(kOtherOperations);
    return names;
}

void callOnPort(ScenarioHost& host, const PortOperation& operation, Words words) {
    requireWords(words, 1 + operation.numbers, 1 + operation.numbers);
    MvrpPortEntry* port = mvrpPortEntryGet(parseU32(words[0], "U"));
    if (port == nullptr) {
        host.trace.line("none");
        return;
    }
    const CallResult result = operation.run(*port, words.subspan(1));
    traceResult(host, result.status, result.extra);
}

void callOnVlan(ScenarioHost& host, const VlanOperation& operation, Words words) {
    requireWords(words, 2, 2);
    const u32 vid = parseVid(words[0]);
    MvrpPortEntry* source = mvrpPortEntryGet(parseU32(words[1], "U"));
    if (source == nullptr) {
        host.trace.line("none");
        return;
    }
    operation.run(vid, source);
    traceResult(host, kStatusOk);
}

}  // namespace

void commandCall(ScenarioHost& host, Words words) {
    const std::string_view name = words[0];
    words = words.subspan(1);
    if (const auto* onPort = findRow(kPortOperations, name)) {
        callOnPort(host, *onPort, words);
    } else if (const auto* onVlan = findRow(kVlanOperations, name)) {
        callOnVlan(host, *onVlan, words);
    } else if (const auto* other = findRow(kOtherOperations, name)) {
        requireWords(words, other->least, other->most);
        traceResult(host, other->run(words));
    } else {
        throw UsageError("'" + std::string(name) +
                         "' is not an operation; allowed: " + namesOfOperations());
    }
}

}  // namespace scenario
