// SPDX-License-Identifier: MIT
#include "daemon/pdu/receive.h"

#include <algorithm>
#include <optional>

#include "daemon/base/corrections.h"
#include "daemon/base/packet_dump.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/machines.h"
#include "daemon/map/propagate.h"
#include "daemon/pdu/admission.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/gvrp_receive.h"
#include "daemon/pdu/leaveall.h"
#include "daemon/pdu/vector.h"
#include "daemon/sync/standby.h"
#include "daemon/timers/leave_clock.h"
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
    // The VLAN's own bit stands for the port's list when that can not be read; no other is looked
    // at, so the rest is not zeroed for each VLAN of a PDU.
    MvrpVlanBitmap carried;
    carried[(vid - 1) / 8] = kMvrpBitMask[(vid - 1) % 8];
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
inline void mvrpMachineTrace(const MvrpPortEntry* port, u32 vid, u32 step) {
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid,
               "Vector process step %u; vlan %u change madMachine to 0x%02x\r\n", step, vid,
               port->madMachine[vid - 1]);
}

/// What the values of one PDU have in common.
struct MvrpReception {
    MvrpPortEntry* port;
    bool registers;         ///< the registration mode lets the port register what is declared
    bool hears;             ///< what is said of VLANs that are static here is heard (correction)
    MvrpVlanBitmap joined;  ///< what the other ports are to hear of
};

/// Sends soon what is declared where an Mt or JoinMt has just made an applicant anxious: the
/// neighbour has not registered it, and would hear of it again only with the next LeaveAll.
inline void mvrpEmptyHear(MvrpPortEntry* port, u8 before, u8 after) {
    constexpr u32 kAnxious = 1U << APP_STATE_AA | 1U << APP_STATE_AP;
    if ((kAnxious >> mvrpApplicant(after) & 1U) != 0 &&
        (kAnxious >> mvrpApplicant(before) & 1U) == 0)
        mvrpVectorJoinStart(port);
}

/// Writes the line that begins an attribute event.
inline void mvrpEventTrace(const MvrpPortEntry* port, u32 firstVid, u32 vid, u32 event) {
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid,
               "Vector process step 1; event:%u, startVid %u, participant_mode:%u, "
               "machine:0x%02x\r\n",
               event, firstVid, port->participant_mode, port->madMachine[vid - 1]);
}

/// A declaration of a VLAN that the port may register. `after`: what it makes of a machine.
inline void mvrpJoinReceive(MvrpReception* reception, u32 vid, u32 event,
                            const MvrpByteTable& after) {
    MvrpPortEntry* port = reception->port;
    mvrpBitSet(reception->joined.data(), vid - 1);
    u8* machine = &port->madMachine[vid - 1];
    const u8 before = *machine;
    *machine = after[before];
    mvrpMachineTrace(port, vid, 2);
    if (event == MVRP_ATTRIBUTE_JOIN_MT && reception->hears)
        mvrpEmptyHear(port, before, *machine);
    if (vid != mvrpPortPvid(port))
        mvrpRegistrationMark(port, vid);
}

void mvrpObserve(const MvrpReception& reception, u32 vid, u32 event, const MvrpByteTable& after,
                 u32 step) {
    MvrpPortEntry* port = reception.port;
    u8* machine = &port->madMachine[vid - 1];
    const u8 before = *machine;
    *machine = after[before];
    mvrpMachineTrace(port, vid, step);
    if (reception.hears && event == MVRP_ATTRIBUTE_MT)
        mvrpEmptyHear(port, before, *machine);
}

void mvrpLeaveReceive(MvrpPortEntry* port, u32 vid) {
    const bool quiet = port->participant_mode == MVRP_PARTICIPANT_QUIET;
    mvrpMachineChange(port, vid, quiet ? MVRP_EVENT_R_LV_LA_QUIET : MVRP_EVENT_R_LV,
                      MVRP_PROTOCOL_MVRP);
    mvrpMachineTrace(port, vid, 5);
    mvrpVectorJoinStart(port);
    mvrpLeaveTimerStart(port);
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
void mvrpAttributeReceive(const MvrpReception& reception, u32 vid, u32 event) {
    switch (event) {
        case MVRP_ATTRIBUTE_IN:
            mvrpObserve(reception, vid, event, kObservedTable<MVRP_EVENT_R_IN>, 3);
            break;
        case MVRP_ATTRIBUTE_MT:
            mvrpObserve(reception, vid, event, kObservedTable<MVRP_EVENT_R_MT>, 4);
            break;
        case MVRP_ATTRIBUTE_LV:
            mvrpLeaveReceive(reception.port, vid);
            break;
        default:  // a packed byte of 216 or more holds a first event that does not exist
            break;
    }
}

/// An attribute event about a VLAN that is fixed here: the row that it raises, and the number of
/// its trace line.
struct MvrpFixedEvent {
    MvrpEvent row;
    u32 traceStep;
};

/// @return nothing for an event that does not exist
std::optional<MvrpFixedEvent> mvrpFixedEvent(const MvrpPortEntry* port, u32 event) {
    switch (event) {
        case MVRP_ATTRIBUTE_NEW:
            return MvrpFixedEvent{MVRP_EVENT_R_NEW, 2};
        case MVRP_ATTRIBUTE_JOIN_IN:
            return MvrpFixedEvent{port->participant_mode == MVRP_PARTICIPANT_NO_OBSERVE
                                      ? MVRP_EVENT_R_JOIN_IN_NO_OBSERVE
                                      : MVRP_EVENT_R_JOIN_IN,
                                  2};
        case MVRP_ATTRIBUTE_JOIN_MT:
            return MvrpFixedEvent{MVRP_EVENT_R_JOIN_MT, 2};
        case MVRP_ATTRIBUTE_IN:
            return MvrpFixedEvent{MVRP_EVENT_R_IN, 3};
        case MVRP_ATTRIBUTE_MT:
            return MvrpFixedEvent{MVRP_EVENT_R_MT, 4};
        case MVRP_ATTRIBUTE_LV:
            // Row 10 would end the fixed registration.
            return MvrpFixedEvent{port->participant_mode == MVRP_PARTICIPANT_QUIET
                                      ? MVRP_EVENT_R_LV_LA_QUIET
                                      : MVRP_EVENT_R_LA,
                                  5};
        default:
            return std::nullopt;
    }
}

/// Hears what is said of a VLAN that is fixed here: its applicant learns whether the neighbour has
/// what is declared to it, and nothing is registered.
void mvrpFixedHear(MvrpPortEntry* port, u32 vid, u32 event) {
    const std::optional<MvrpFixedEvent> fixed = mvrpFixedEvent(port, event);
    if (!fixed.has_value())
        return;
    correctionActed(Correction::StaticHeard, port->portunit, vid);
    u8* machine = &port->madMachine[vid - 1];
    const u8 before = *machine;
    mvrpFsmChange(machine, fixed->row, MVRP_PROTOCOL_MVRP);
    mvrpMachineTrace(port, vid, fixed->traceStep);
    if (event == MVRP_ATTRIBUTE_LV)
        mvrpVectorJoinStart(port);
    else if (event == MVRP_ATTRIBUTE_MT || event == MVRP_ATTRIBUTE_JOIN_MT)
        mvrpEmptyHear(port, before, *machine);
}

/// An attribute event about a VLAN that others configured: it is theirs, and passed over, unless it
/// is heard.
void mvrpFixedReceive(const MvrpReception& reception, u32 firstVid, u32 vid, u32 event,
                      QorVlanType type) {
    MvrpPortEntry* port = reception.port;
    if (!reception.hears || type != QorVlanType::Static ||
        mvrpRegistrar(port->madMachine[vid - 1]) != REG_STATE_INF)
        return;
    if (kJoins[event] != nullptr && !mvrpPortAdmits(port, vid))
        return;
    mvrpEventTrace(port, firstVid, vid, event);
    mvrpFixedHear(port, vid, event);
}

static_assert(mvrpEventUnpack(0xFF, 0) < kJoins.size(), "no packed event is beyond the table");

/// Applies one attribute event. `after`: what it makes of a machine if it is a declaration.
inline void mvrpEventReceive(MvrpReception* reception, u32 firstVid, u32 vid, u32 event,
                             const MvrpByteTable* after) {
    // One that the switch does not know can be registered.
    const QorVlanType type = mvrpVlanType(vid).value_or(QorVlanType::Dynamic);
    if (type != QorVlanType::Dynamic) [[unlikely]] {
        mvrpFixedReceive(*reception, firstVid, vid, event, type);
        return;
    }
    if (!reception->registers || (after != nullptr && !mvrpPortAdmits(reception->port, vid)))
        return;
    mvrpEventTrace(reception->port, firstVid, vid, event);
    if (after != nullptr) [[likely]]
        mvrpJoinReceive(reception, vid, event, *after);
    else
        mvrpAttributeReceive(*reception, vid, event);
}

/// Applies the events of one vector, and notes the VLANs that were declared. The packed bytes may
/// end early. @return whether all were there
bool mvrpEventsReceive(MvrpReception* reception, u32 firstVid, u32 count,
                       std::span<const u8> packed) {
    const bool observes = reception->port->participant_mode != MVRP_PARTICIPANT_NO_OBSERVE;
    const MvrpJoins& joins = observes ? kJoins : kJoinsNoObserve;
    const u32 endVid = std::min(firstVid + count, kMvrpVlanLast + 1);
    u32 vid = firstVid;
    for (const u8 byte : packed) {
        for (u32 position = 0; position < kMvrpEventsPerByte && vid < endVid; ++position) {
            const u32 event = mvrpEventUnpack(byte, position);
            mvrpEventReceive(reception, firstVid, vid, event, joins[event]);
            ++vid;
        }
    }
    return packed.size() == mvrpPackedBytes(count);
}

/// Walks the vectors of a PDU that begins with `header`. @return whether it came to the end mark
bool mvrpVectorsWalk(MvrpReception* reception, MvrpReader reader, u32 header) {
    u32 count = header & kMvrpValueCountMask;
    while (count != 0) {
        u32 firstVid = 0;
        if (!reader.readWord(&firstVid))
            return false;
        if (firstVid < kMvrpVlanFirst || firstVid > kMvrpVlanLast)
            return false;
        if (!reception->registers && !reception->hears)
            return false;
        const std::span<const u8> packed = reader.take(mvrpPackedBytes(count));
        if (!mvrpEventsReceive(reception, firstVid, count, packed))
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
    const bool registers = port->registration_mode == MVRP_REGISTRATION_NORMAL;
    const bool hears = mvrpCorrects(Correction::StaticHeard);
    MvrpReception reception = {port, registers, hears, {}};
    const bool whole = mvrpVectorsWalk(&reception, reader, header);
    mvrpMapPropagateJoins(reception.joined, port);
    if (whole)
        mvrpMapPropagateJoinMsgSend(port);
    return 0;
}
