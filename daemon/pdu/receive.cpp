// SPDX-License-Identifier: MIT
#include "daemon/pdu/receive.h"

#include <algorithm>

#include "daemon/base/packet_dump.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/machines.h"
#include "daemon/map/propagate.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/gvrp_receive.h"
#include "daemon/pdu/leaveall.h"
#include "daemon/pdu/vector.h"
#include "daemon/sync/standby.h"
#include "daemon/timers/protocol_timers.h"

namespace {

/// Protocol version 0 (MVRP) or the low byte of the protocol identifier (GVRP), with the attribute
/// type behind it, read as one number; then the attribute length (MVRP) or type (GVRP).
constexpr u16 kPduFirstWord = 1;
constexpr u8 kPduThirdByte = 1;
constexpr size_t kPduHeaderBytes = 3;

/// Reads numbers off a received PDU and never past its end.
class MvrpReader {
  public:
    explicit MvrpReader(std::span<const u8> bytes) : rest_(bytes) {}

    /// @return whether two bytes were left
    bool readWord(u32* word) {
        if (rest_.size() < 2)
            return false;
        *word = mvrpReadBe16(rest_.data());
        rest_ = rest_.subspan(2);
        return true;
    }

    /// @return up to `count` bytes, fewer at the end
    std::span<const u8> take(size_t count) {
        const std::span<const u8> taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

  private:
    std::span<const u8> rest_;
};

/// Machines after an event that is received: one that was idle begins with it.
template <class Apply>
consteval MvrpByteTable mvrpReceivedTable(Apply apply) {
    MvrpByteTable table = {};
    for (u32 byte = 0; byte < table.size(); ++byte) {
        const u8 machine = static_cast<u8>(byte);
        table[byte] =
            apply(mvrpVlanActive(machine) ? machine : mvrpMachineBegin(MVRP_MACHINE_DYNAMIC));
    }
    return table;
}

/// A declaration: REG-BIT, then its event.
template <MvrpEvent Event>
constexpr MvrpByteTable kJoinTable = mvrpReceivedTable([](u8 machine) {
    mvrpBitSet(&machine, MVRP_REG_BIT);
    return mvrpMachineAfter(machine, Event, MVRP_PROTOCOL_MVRP);
});

/// An event that only tells how others stand.
template <MvrpEvent Event>
constexpr MvrpByteTable kObservedTable = mvrpReceivedTable([](u8 machine) {
    return mvrpMachineAfter(machine, Event, MVRP_PROTOCOL_MVRP);
});

inline u32 mvrpPortPvid(const MvrpPortEntry* port) {
    u32 pvid = kMvrpDefaultVlan;
    if (qorIfGetApi(port->portunit, static_cast<u32>(QorIfAttribute::Pvid), &pvid) != kStatusOk) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "Vector process; get port %d pvid failed\r\n", port->portunit);
    }
    return pvid;
}

/// Queues a registered VLAN for the switch, if the port carries it.
void mvrpRegistrationQueue(MvrpPortEntry* port, u32 vid) {
    // The VLAN's own bit stands for the port's list when that can not be read.
    MvrpVlanBitmap carried = {};
    mvrpBitSet(carried.data(), vid - 1);
    if (!mvrpPortVlansRead(port->portunit, QorIfAttribute::Permitted, &carried)) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, vid,
                   "vector process; port %u vlan %u status get failed. (%u)\n\r", port->portunit,
                   vid, gMvrpInfo.vlanEntryNum);
    }
    if (mvrpBitTest(carried.data(), vid - 1) != 0)
        mvrpBitSet(&port->vlanFlag[vid - 1], MVRP_FLAG_ADD);

    if (mvrpPortVlanEntryEnsure(port->portunit, vid)) {
        MVRP_TRACE(MVRP_DEBUG_DATABASE, port->portunit, vid,
                   "vector process; port %u vlan %u entry add. (%u)\n\r", port->portunit, vid,
                   gMvrpInfo.vlanEntryNum);
    }
}

/// Marks a newly registered VLAN for the switch, unless it is applied already.
inline void mvrpRegistrationMark(MvrpPortEntry* port, u32 vid) {
    u8* flag = &port->vlanFlag[vid - 1];
    mvrpBitClear(flag, MVRP_FLAG_REMOVE);
    if (mvrpBitTest(flag, MVRP_FLAG_APPLIED) == 0) [[unlikely]]
        mvrpRegistrationQueue(port, vid);
}

/// Writes the line that follows a machine event; `step` numbers the kinds of attribute event.
void mvrpMachineTrace(const MvrpPortEntry* port, u32 vid, u32 step) {
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid,
               "Vector process step %u; vlan %u change madMachine to 0x%02x\r\n", step, vid,
               port->madMachine[vid - 1]);
}

inline void mvrpJoinReceive(MvrpPortEntry* port, u32 vid, const MvrpByteTable& after) {
    u8* machine = &port->madMachine[vid - 1];
    *machine = after[*machine];
    mvrpMachineTrace(port, vid, 2);
    if (vid != mvrpPortPvid(port))
        mvrpRegistrationMark(port, vid);
}

void mvrpObserve(MvrpPortEntry* port, u32 vid, const MvrpByteTable& after, u32 step) {
    u8* machine = &port->madMachine[vid - 1];
    *machine = after[*machine];
    mvrpMachineTrace(port, vid, step);
}

void mvrpLeaveReceive(MvrpPortEntry* port, u32 vid) {
    const bool quiet = port->participant_mode == MVRP_PARTICIPANT_QUIET;
    mvrpFsmChange(&port->madMachine[vid - 1], quiet ? MVRP_EVENT_R_LV_LA_QUIET : MVRP_EVENT_R_LV,
                  MVRP_PROTOCOL_MVRP);
    mvrpMachineTrace(port, vid, 5);
    mvrpPortTimerRestart(port, &port->vectorJoinTimer, kMvrpPromptJoinMs, mvrpJoinTimerHandler);
    mvrpPortTimerRestart(port, &port->leaveTimer, port->leave_timeout, mvrpLeaveTimerHandler);
}

/// What a declaration makes of a machine, by attribute event; null for an event that declares
/// nothing, or does not exist.
using MvrpJoins = std::array<const MvrpByteTable*, MVRP_ATTRIBUTE_LV + 3>;

constexpr MvrpJoins mvrpJoinsWith(const MvrpByteTable* joinIn) {
    MvrpJoins joins = {};
    joins[MVRP_ATTRIBUTE_NEW] = &kJoinTable<MVRP_EVENT_R_NEW>;
    joins[MVRP_ATTRIBUTE_JOIN_IN] = joinIn;
    joins[MVRP_ATTRIBUTE_JOIN_MT] = &kJoinTable<MVRP_EVENT_R_JOIN_MT>;
    return joins;
}
constexpr MvrpJoins kJoins = mvrpJoinsWith(&kJoinTable<MVRP_EVENT_R_JOIN_IN>);
constexpr MvrpJoins kJoinsNoObserve = mvrpJoinsWith(&kJoinTable<MVRP_EVENT_R_JOIN_IN_NO_OBSERVE>);

/// An attribute event that does not declare its VLAN.
void mvrpAttributeReceive(MvrpPortEntry* port, u32 vid, u32 event) {
    switch (event) {
        case MVRP_ATTRIBUTE_IN:
            mvrpObserve(port, vid, kObservedTable<MVRP_EVENT_R_IN>, 3);
            break;
        case MVRP_ATTRIBUTE_MT:
            mvrpObserve(port, vid, kObservedTable<MVRP_EVENT_R_MT>, 4);
            break;
        case MVRP_ATTRIBUTE_LV:
            mvrpLeaveReceive(port, vid);
            break;
        default:  // a packed byte of 216 or more holds a first event that does not exist
            break;
    }
}

/// The three events of each packed byte.
using MvrpUnpacked = std::array<u8, kMvrpEventsPerByte>;
constexpr std::array<MvrpUnpacked, 256> kUnpacked = [] {
    std::array<MvrpUnpacked, 256> all = {};
    for (u32 packed = 0; packed < all.size(); ++packed)
        for (u32 position = 0; position < kMvrpEventsPerByte; ++position)
            all[packed][position] =
                static_cast<u8>(mvrpEventUnpack(static_cast<u8>(packed), position));
    return all;
}();
static_assert(kUnpacked[0xFF][0] < kJoins.size(), "no packed event is beyond the table");

/// Applies the events of one vector, and notes the VLANs that were declared. The packed bytes may
/// end early. @return whether all were there
bool mvrpEventsReceive(MvrpPortEntry* port, u32 firstVid, u32 count, std::span<const u8> packed,
                       MvrpVlanBitmap* joined) {
    const bool observes = port->participant_mode != MVRP_PARTICIPANT_NO_OBSERVE;
    const MvrpJoins& joins = observes ? kJoins : kJoinsNoObserve;
    for (u32 i = 0; i < count && firstVid + i <= kMvrpVlanLast; ++i) {
        const u32 vid = firstVid + i;
        if (i / kMvrpEventsPerByte >= packed.size())
            return false;
        const u32 event = kUnpacked[packed[i / kMvrpEventsPerByte]][i % kMvrpEventsPerByte];
        // A VLAN that others configured is theirs; one the switch does not know can be registered.
        if (mvrpVlanKnownAndNot(vid, QorVlanType::Dynamic))
            continue;
        MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid,
                   "Vector process step 1; event:%u, startVid %u, participant_mode:%u, "
                   "machine:0x%02x\r\n",
                   event, firstVid, port->participant_mode, port->madMachine[vid - 1]);
        if (const MvrpByteTable* after = joins[event]) [[likely]] {
            mvrpBitSet(joined->data(), vid - 1);
            mvrpJoinReceive(port, vid, *after);
        } else {
            mvrpAttributeReceive(port, vid, event);
        }
    }
    return packed.size() == mvrpPackedBytes(count);
}

/// Walks the vectors of a PDU that begins with `header`. @return whether it came to the end mark
bool mvrpVectorsWalk(MvrpPortEntry* port, MvrpReader reader, u32 header, MvrpVlanBitmap* joined) {
    u32 count = header & kMvrpValueCountMask;
    while (count != 0) {
        u32 firstVid = 0;
        if (!reader.readWord(&firstVid))
            return false;
        if (firstVid < kMvrpVlanFirst || firstVid > kMvrpVlanLast)
            return false;
        if (port->registration_mode != MVRP_REGISTRATION_NORMAL)
            return false;
        if (!mvrpEventsReceive(port, firstVid, count, reader.take(mvrpPackedBytes(count)), joined))
            return false;

        header = kMvrpEndMark;
        reader.readWord(&header);
        count = header & kMvrpValueCountMask;
    }
    return true;
}

}  // namespace

void mvrpPktProcess(MvrpPortEntry* port, const u8* pdu, s32 length) {
    if (port->enable == 0)
        return;
    MVRP_TRACE(MVRP_DEBUG_PACKET, port->portunit, 0, "pkt process; port:%u, frameLen:%u\r\n",
               port->portunit, length);
    mvrpPrintPacket(pdu, length);

    const bool compliant = mvrpGvrpCompliant();
    if (compliant && port->registration_mode != MVRP_REGISTRATION_NORMAL)
        return;
    if (length < static_cast<s32>(kPduHeaderBytes))
        return;
    if (mvrpReadBe16(pdu) != kPduFirstWord || pdu[2] != kPduThirdByte)
        return;

    const std::span<const u8> rest(pdu + kPduHeaderBytes,
                                   static_cast<size_t>(length) - kPduHeaderBytes);
    if (compliant)
        mvrpVlanInfoProcessGvrp(port, rest);
    else
        mvrpVectorProcess(port, rest);
    mvrpSyncPort(port, MVRP_SYNC_ADD);
}

s32 mvrpVectorProcess(MvrpPortEntry* port, std::span<const u8> vectors) {
    MvrpReader reader(vectors);
    u32 header = kMvrpEndMark;
    if (reader.readWord(&header) && (header & kMvrpLeaveAllBit) != 0) {
        mvrpRcvLeaveall(port);
        return 0;
    }

    // The other ports hear of all joins at once; nothing looks at them while the PDU is read.
    MvrpVlanBitmap joined = {};
    const bool whole = mvrpVectorsWalk(port, reader, header, &joined);
    mvrpMapPropagateJoins(joined, port);
    if (whole)
        mvrpMapPropagateJoinMsgSend(port);
    return 0;
}
