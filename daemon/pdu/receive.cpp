// SPDX-License-Identifier: MIT
#include "daemon/pdu/receive.h"

#include <algorithm>
#include <optional>

#include "daemon/base/corrections.h"
#include "daemon/base/packet_dump.h"
#include "daemon/base/trace.h"
#include "daemon/fsm/machine.h"
#include "daemon/map/propagate.h"
#include "daemon/pdu/admission.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/gvrp_receive.h"
#include "daemon/pdu/leaveall.h"
#include "daemon/pdu/reception.h"
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

/// Marks a newly registered VLAN for the switch, unless it is applied already.
inline void mvrpRegistrationMark(const MvrpReception& reception, u32 vid) {
    u8* flag = &reception.port->vlanFlag[vid - 1];
    mvrpBitClear(flag, MVRP_FLAG_REMOVE);
    if (mvrpBitTest(flag, MVRP_FLAG_APPLIED) == 0) [[unlikely]]
        mvrpRegistrationQueue(reception, vid);
}

/// Writes the line that follows a machine event; `step` numbers the kinds of attribute event.
inline void mvrpMachineTrace(const MvrpPortEntry* port, u32 vid, u32 step) {
    MVRP_TRACE(MVRP_DEBUG_RECEIVE, port->portunit, vid,
               "Vector process step %u; vlan %u change madMachine to 0x%02x\r\n", step, vid,
               port->madMachine[vid - 1]);
}

/// Sends soon what is declared where an Mt or JoinMt has just made an applicant anxious: the
/// neighbour has not registered it, and would hear of it again only with the next LeaveAll.
inline void mvrpEmptyHear(MvrpPortEntry* port, u8 before, u8 after) {
    if (mvrpBecameAnxious(before, after))
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
    if (vid != mvrpPortPvid(*reception))
        mvrpRegistrationMark(*reception, vid);
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

constexpr MvrpJoins mvrpJoinsWith(const MvrpByteMap& joinIn) {
    MvrpJoins joins = {};
    joins[MVRP_ATTRIBUTE_NEW] = &kMvrpReceivedJoin<MVRP_EVENT_R_NEW>.table;
    joins[MVRP_ATTRIBUTE_JOIN_IN] = &joinIn.table;
    joins[MVRP_ATTRIBUTE_JOIN_MT] = &kMvrpReceivedJoin<MVRP_EVENT_R_JOIN_MT>.table;
    return joins;
}
constexpr MvrpJoins kJoins = mvrpJoinsWith(kMvrpReceivedJoin<MVRP_EVENT_R_JOIN_IN>);
constexpr MvrpJoins kJoinsNoObserve =
    mvrpJoinsWith(kMvrpReceivedJoin<MVRP_EVENT_R_JOIN_IN_NO_OBSERVE>);

/// An attribute event that does not declare its VLAN.
void mvrpAttributeReceive(const MvrpReception& reception, u32 vid, u32 event) {
    switch (event) {
        case MVRP_ATTRIBUTE_IN:
            mvrpObserve(reception, vid, event, kMvrpReceivedObserved<MVRP_EVENT_R_IN>.table, 3);
            break;
        case MVRP_ATTRIBUTE_MT:
            mvrpObserve(reception, vid, event, kMvrpReceivedObserved<MVRP_EVENT_R_MT>.table, 4);
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
    if (kJoins[event] != nullptr && !mvrpPortAdmits(port, reception.facts, vid))
        return;
    mvrpEventTrace(port, firstVid, vid, event);
    mvrpFixedHear(port, vid, event);
}

static_assert(mvrpEventUnpack(0xFF, 0) < kJoins.size(), "no packed event is beyond the table");

/// Applies one attribute event. `after`: what it makes of a machine if it is a declaration.
inline void mvrpEventReceive(MvrpReception* reception, u32 firstVid, u32 vid, u32 event,
                             const MvrpByteTable* after) {
    // One that the switch does not know can be registered.
    const QorVlanType type = mvrpVlanType(reception->facts, vid).value_or(QorVlanType::Dynamic);
    if (type != QorVlanType::Dynamic) [[unlikely]] {
        mvrpFixedReceive(*reception, firstVid, vid, event, type);
        return;
    }
    if (!reception->registers ||
        (after != nullptr && !mvrpPortAdmits(reception->port, reception->facts, vid)))
        return;
    mvrpEventTrace(reception->port, firstVid, vid, event);
    if (after != nullptr) [[likely]]
        mvrpJoinReceive(reception, vid, event, *after);
    else
        mvrpAttributeReceive(*reception, vid, event);
}

/// What the values of one vector have in common.
struct MvrpVector {
    u32 firstVid;
    u32 endVid;              ///< behind the last value that is a VLAN
    const MvrpJoins& joins;  ///< of the port
};

/// Fewest packed bytes that are worth being looked at together.
constexpr size_t kShortestRunBytes = kMvrpShortestRun / kMvrpEventsPerByte;
/// The packed byte that holds one event three times, by the event.
constexpr u32 kThrice = kMvrpFirstEventWeight + kMvrpSecondEventWeight + 1;

/// How many packed bytes hold one and the same event throughout, from the first on. An Lv is not
/// looked for: each of them restarts timers. @return 0 when they are not worth it
size_t mvrpRunBytes(std::span<const u8> packed) {
    if (packed.size() < kShortestRunBytes || packed[0] != packed[1] || packed[0] % kThrice != 0 ||
        packed[0] / kThrice >= MVRP_ATTRIBUTE_LV)
        return 0;
    const size_t bytes = gMvrpBytes.same(packed);
    return bytes < kShortestRunBytes ? 0 : bytes;
}

/// Applies one event to the VLANs from `vid` to `endVid` - 1: together, but for those that are
/// matters of their own.
void mvrpRepeatedReceive(MvrpReception* reception, const MvrpVector& vector, u32 vid, u32 endVid,
                         u32 event) {
    while (vid < endVid) {
        const u32 runEnd = mvrpRunEnd(*reception, vid, endVid);
        if (runEnd - vid >= kMvrpShortestRun && mvrpRunReceive(reception, vid, runEnd, event))
            vid = runEnd;
        for (const u32 next = std::min(runEnd + 1, endVid); vid < next; ++vid)
            mvrpEventReceive(reception, vector.firstVid, vid, event, vector.joins[event]);
    }
}

/// Applies the events of a vector, and notes the VLANs that were declared.
void mvrpPackedReceive(MvrpReception* reception, const MvrpVector& vector,
                       std::span<const u8> packed) {
    const bool together = mvrpRunsAllowed(*reception);
    u32 vid = vector.firstVid;
    while (!packed.empty() && vid < vector.endVid) {
        const size_t repeated = together ? mvrpRunBytes(packed) : 0;
        const size_t taken = std::max<size_t>(repeated, 1);
        const u32 events = static_cast<u32>(taken) * kMvrpEventsPerByte;
        const u32 endVid = std::min(vid + events, vector.endVid);
        if (repeated != 0) {
            mvrpRepeatedReceive(reception, vector, vid, endVid, packed[0] / kThrice);
        } else {
            for (u32 position = 0; vid + position < endVid; ++position) {
                const u32 event = mvrpEventUnpack(packed[0], position);
                mvrpEventReceive(reception, vector.firstVid, vid + position, event,
                                 vector.joins[event]);
            }
        }
        vid = endVid;
        packed = packed.subspan(taken);
    }
}

/// The same for one whose packed bytes may end early. @return whether all were there
bool mvrpEventsReceive(MvrpReception* reception, u32 firstVid, u32 count,
                       std::span<const u8> packed) {
    const bool observes = reception->port->participant_mode != MVRP_PARTICIPANT_NO_OBSERVE;
    const u32 endVid = std::min(firstVid + count, kMvrpVlanLast + 1);
    mvrpPackedReceive(reception, {firstVid, endVid, observes ? kJoins : kJoinsNoObserve}, packed);
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
    MvrpReception reception = {port, mvrpFactsOf(port->portunit), registers, hears, {}};
    const bool whole = mvrpVectorsWalk(&reception, reader, header);
    if (whole)
        mvrpMapPropagateJoinsSend(reception.joined, port);
    else
        mvrpMapPropagateJoins(reception.joined, port);
    return 0;
}
