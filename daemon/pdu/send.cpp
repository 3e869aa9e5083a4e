// SPDX-License-Identifier: MIT
#include "daemon/pdu/send.h"

#include "daemon/base/packet_dump.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/machines.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/sent_before.h"
#include "daemon/pdu/vector.h"
#include "daemon/timers/leave_clock.h"
#include "daemon/timers/protocol_timers.h"

namespace {

/// LLC 0xAA 0xAA 0x03, SNAP organisation identifier 00-00-00, protocol 0x88F5.
constexpr std::array<u8, 8> kMvrpLlcSnap = {0xAA, 0xAA, 0x03, 0x00, 0x00, 0x00, 0x88, 0xF5};
constexpr u32 kMvrpHeaderBytes = kMvrpEthernetHeaderBytes + kMvrpLlcSnap.size();

/// Protocol version, attribute type, and an attribute length of 1: two bytes would be right for a
/// VLAN ID, but 1 is what this system's peers write and accept.
constexpr std::array<u8, 3> kMvrpBodyBegin = {0x00, kMvrpAttributeTypeVlan, 0x01};

/// A PDU body being built. The end mark may stand beyond what vectors are planned for.
struct MvrpPdu {
    std::array<u8, kMvrpPduBytes + kMvrpEndMarkBytes> bytes;
    s32 used;  ///< bytes

    std::span<u8> rest() { return std::span<u8>(bytes).subspan(static_cast<size_t>(used)); }
    bool fresh() const { return used == static_cast<s32>(kMvrpBodyBegin.size()); }
};

void mvrpPduBegin(MvrpPdu* pdu) {
    pdu->bytes = {};
    std::copy(kMvrpBodyBegin.begin(), kMvrpBodyBegin.end(), pdu->bytes.begin());
    pdu->used = kMvrpBodyBegin.size();
}

/// Closes the PDU with the end mark and sends it. @return the socket's result
s32 mvrpPduSend(MvrpPortEntry* port, const MvrpPdu& pdu) {
    const size_t length = static_cast<size_t>(pdu.used) + kMvrpEndMarkBytes;
    const std::span<const u8> body = std::span<const u8>(pdu.bytes).first(length);
    gMvrpSentBefore.note(body);
    return mvrpSendPdu(port, body);
}

/// Bytes that the port's PDUs may hold; negative for a port with a very small MTU.
s32 mvrpPduLimit(const MvrpPortEntry* port) {
    return static_cast<s32>(mvrpPduBound(port)) - static_cast<s32>(kMvrpPduReserve);
}

s32 mvrpVectorBytes(u32 count) {
    return static_cast<s32>(kMvrpVectorHeaderBytes + mvrpPackedBytes(count));
}

/// Whether a vector of `count` values fits behind what the PDU holds.
bool mvrpVectorFits(const MvrpPortEntry* port, const MvrpPdu& pdu, u32 count) {
    const s32 bytes = mvrpVectorBytes(count);
    return mvrpPduLimit(port) - bytes - pdu.used > 0 &&
           pdu.used + bytes < static_cast<s32>(kMvrpPduBytes);
}

/// The most values of a vector that fits.
u32 mvrpVectorRoom(const MvrpPortEntry* port, const MvrpPdu& pdu) {
    const s32 limit = std::min(mvrpPduLimit(port), static_cast<s32>(kMvrpPduBytes));
    const s32 packed = limit - pdu.used - 1 - static_cast<s32>(kMvrpVectorHeaderBytes);
    return packed > 0 ? static_cast<u32>(packed) * kMvrpEventsPerByte : 0;
}

/// The same for a LeaveAll vector, whose limit leaves out what the PDU already holds: wanted so.
bool mvrpLeaveallVectorFits(const MvrpPortEntry* port, const MvrpPdu& pdu, u32 count) {
    const s32 bytes = mvrpVectorBytes(count);
    return mvrpPduLimit(port) - bytes >= 1 && pdu.used + bytes < static_cast<s32>(kMvrpPduBytes);
}

/// Steps of the walk, as its trace lines number them.
enum MvrpWalkStep : u32 {
    WALK_EXTEND = 1,  ///< the VLAN is taken into the run
    WALK_FULL = 2,    ///< the VLAN does not fit any more
    WALK_CLOSE = 3,   ///< the VLAN ends the run
    WALK_END = 4,     ///< the last VLAN is still in the run
};

/// The port's declarations: VLANs whose applicant has something to say.
struct MvrpDeclarations {
    /// A run is closed before it outgrows the PDU.
    static constexpr bool kKeepsFitting = true;

    static constexpr MvrpByteMarks kCandidates = mvrpByteMarks(mvrpDeclares);

    static u32 take(u32 vid, u32 endVid) { return endVid - vid; }

    static void trace(const MvrpPortEntry* port, u32 vid, u32 step) {
        MVRP_TRACE(MVRP_DEBUG_TRANSMIT, port->portunit, vid,
                   "port send pkt; step%u: port:%u, vid:%u, madMachine:0x%02x\r\n", step,
                   port->portunit, vid, port->madMachine[vid - 1]);
    }

    static void traceTaken(const MvrpPortEntry* port, u32 vid, u32 count) {
        if ((gMvrpInfo.debug & MVRP_DEBUG_TRANSMIT) == 0) [[likely]]
            return;
        for (u32 i = 0; i < count; ++i)
            trace(port, vid + i, WALK_EXTEND);
    }
};

/// The port's fixed registrations. One that the switch does not know is passed over, and the vector
/// is written as if its VLANs were consecutive up to the one that closes it: wanted so.
struct MvrpFixedRegistrations {
    /// A run grows whatever it will need, and is started again in a fresh PDU if it does not fit.
    static constexpr bool kKeepsFitting = false;

    static constexpr MvrpByteMarks kCandidates =
        mvrpByteMarks([](u8 machine) { return mvrpRegistrar(machine) == REG_STATE_INF; });

    static u32 take(u32 vid, u32 /*endVid*/) {
        u32 exists = 0;
        return qorVlanGetApi(vid, static_cast<u32>(QorVlanAttribute::Exists), &exists) == kStatusOk
                   ? 1
                   : 0;
    }

    static void trace(const MvrpPortEntry* /*port*/, u32 /*vid*/, u32 /*step*/) {}
    static void traceTaken(const MvrpPortEntry* /*port*/, u32 /*vid*/, u32 /*count*/) {}
};

/// Sends the PDU and begins the next.
void mvrpPduNext(MvrpPortEntry* port, MvrpPdu* pdu) {
    mvrpPduSend(port, *pdu);
    mvrpPduBegin(pdu);
}

/// A run of candidates that is written as one vector.
struct MvrpRun {
    u32 first = 0;
    u32 count = 0;
};

/// Takes candidates into the run, from `vid` to `endVid` - 1.
/// @return the first that did not fit any more, or `endVid`
template <class Rule>
u32 mvrpRunCollect(const MvrpPortEntry* port, const MvrpPdu& pdu, u32 vid, u32 endVid,
                   MvrpRun* run) {
    const bool bounded = Rule::kKeepsFitting || pdu.fresh();
    const u32 room = bounded ? mvrpVectorRoom(port, pdu) : kMvrpVlanCount;
    while (vid < endVid) {
        u32 taken = Rule::take(vid, endVid);
        if (taken == 0) {
            ++vid;  // passed over
            continue;
        }
        taken = std::min(taken, room - run->count);
        if (taken == 0)
            return vid;
        if (run->count == 0)
            run->first = vid;
        run->count += taken;
        Rule::traceTaken(port, vid, taken);
        vid += taken;
    }
    return endVid;
}

/// Writes candidates, from `vid` to `endVid` - 1, into the PDU as far as they fit; what does not
/// fit has a PDU begun for it. @return the VLAN to go on with; 0 when not even one fits a fresh PDU
template <class Rule>
u32 mvrpRunWrite(MvrpPortEntry* port, MvrpPdu* pdu, u32 vid, u32 endVid) {
    MvrpRun run;
    const u32 next = mvrpRunCollect<Rule>(port, *pdu, vid, endVid, &run);
    if (next != endVid) {
        if (pdu->fresh() && run.count == 0)
            return 0;
        Rule::trace(port, next, WALK_FULL);
        if (run.count != 0)
            pdu->used += mvrpVectorBuild(port, next, run.count, pdu->rest());
        mvrpPduNext(port, pdu);
        return next;
    }
    if (run.count == 0)
        return endVid;
    if (!mvrpVectorFits(port, *pdu, run.count)) {
        mvrpPduNext(port, pdu);
        return run.first;
    }
    const bool atEnd = endVid > kMvrpVlanLast;
    Rule::trace(port, std::min(endVid, kMvrpVlanLast), atEnd ? WALK_END : WALK_CLOSE);
    pdu->used += mvrpVectorBuild(port, endVid, run.count, pdu->rest());
    return endVid;
}

template <class Rule>
MvrpVlanBitmap mvrpCandidatesOf(MvrpPortEntry* port) {
    MvrpVlanBitmap candidates;
    gMvrpBytes.mark(mvrpMachines(port), Rule::kCandidates, &candidates);
    return candidates;
}

/// Sends runs of candidates as vectors, in as many PDUs as they need; one without vectors when
/// there are none. A port whose MTU holds no vector at all ends the walk.
template <class Rule>
void mvrpRunsSend(MvrpPortEntry* port, const MvrpVlanBitmap& candidates) {
    // Writing a vector changes machines, but none from the next VLAN on.
    MvrpPdu pdu;
    mvrpPduBegin(&pdu);
    u32 vid = kMvrpVlanFirst;
    while (vid != 0 && (vid = mvrpBitmapNext(candidates, vid - 1) + 1) <= kMvrpVlanLast) {
        const u32 endVid = mvrpBitmapNext(candidates, vid - 1, false) + 1;
        vid = mvrpRunWrite<Rule>(port, &pdu, vid, endVid);
    }
    mvrpPduSend(port, pdu);
}

/// Packs the events of a run of 1 to 3. Four events may be read, and behind the run is one of 0.
u8 mvrpShortPack(const u8* events, u32 count) {
    // Each event comes to its weight in the third byte of the product; none carries into the next.
    constexpr u32 kWeights = kMvrpFirstEventWeight << 16U | kMvrpSecondEventWeight << 8U | 1U;
    // Of a run of one the third is on the other side of the gap.
    const u32 taken = mvrpReadLe32(events) & (count == 1 ? 0xFFU : ~u32{0});
    return static_cast<u8>(taken * kWeights >> 16U);
}

/// Sends runs of what was taken as vectors, in as many PDUs as they need, as mvrpRunsSend() does.
/// @param pdu  fresh, with room for a vector
void mvrpTakenSend(MvrpPortEntry* port, MvrpPdu* pdu, std::span<const MvrpBitRun> runs,
                   const MvrpDeclaredEvents& declared) {
    constexpr u32 kShortest = kMvrpVectorHeaderBytes + 1;
    const u32 limit = static_cast<u32>(mvrpPduLimit(port));
    u32 used = static_cast<u32>(pdu->used);
    for (const MvrpBitRun run : runs) {
        // Most often, and the reason for this function: a vector of 5 bytes that fits.
        if (run.count <= kMvrpEventsPerByte && used + kShortest < limit) [[likely]] {
            mvrpWriteBe32(&pdu->bytes[used], u32{run.count} << 16U | (run.index + 1U));
            pdu->bytes[used + kMvrpVectorHeaderBytes] =
                mvrpShortPack(&declared[run.index], run.count);
            used += kShortest;
            continue;
        }
        u32 index = run.index;
        for (u32 left = run.count; left != 0;) {
            pdu->used = static_cast<s32>(used);
            const u32 count = std::min(left, mvrpVectorRoom(port, *pdu));
            if (count != 0)
                used += mvrpDeclaredVectorWrite(declared, index, count, &pdu->bytes[used]);
            index += count;
            left -= count;
            pdu->used = static_cast<s32>(used);
            if (left != 0)
                mvrpPduNext(port, pdu);
            used = static_cast<u32>(pdu->used);
        }
    }
    pdu->used = static_cast<s32>(used);
    mvrpPduSend(port, *pdu);
}

/// Builds and sends the declarations of a port.
void mvrpDeclarationsBuild(MvrpPortEntry* port) {
    const MvrpVlanBitmap candidates = mvrpCandidatesOf<MvrpDeclarations>(port);
    MvrpPdu pdu;
    mvrpPduBegin(&pdu);
    MvrpDeclaredEvents declared;
    if (mvrpVectorRoom(port, pdu) == 0 || !mvrpDeclarationsTake(port, &declared)) {
        mvrpRunsSend<MvrpDeclarations>(port, candidates);
        return;
    }
    MvrpBitRuns runs;
    const u32 count = mvrpBitmapRuns(candidates, &runs);
    mvrpTakenSend(port, &pdu, std::span(runs).first(count), declared);
}

/// Sends the declarations of a port, which may be those of the last that sent any.
void mvrpDeclarationsSend(MvrpPortEntry* port) {
    if (gMvrpSentBefore.fits(port)) {
        gMvrpSentBefore.repeat(port, [port](std::span<const u8> body) { mvrpSendPdu(port, body); });
        return;
    }
    gMvrpSentBefore.begin(port);
    mvrpDeclarationsBuild(port);
    gMvrpSentBefore.finish(port);
}

bool mvrpMaySend(const MvrpPortEntry* port) {
    return port != nullptr && port->enable != 0 && !mvrpGvrpCompliant();
}

/// Raises event 25 on what did not fit into the one LeaveAll PDU: it is not sent.
void mvrpLeaveallRestApply(MvrpPortEntry* port, u32 firstVid) {
    for (u32 vid = firstVid; vid <= kMvrpVlanLast; ++vid) {
        const u8* machine = &port->madMachine[vid - 1];
        if (!mvrpVlanActive(*machine) || mvrpApplicant(*machine) == APP_STATE_LO)
            continue;
        mvrpMachineChange(port, vid, MVRP_EVENT_LEAVE_ALL_SENT, MVRP_PROTOCOL_MVRP);
        MVRP_TRACE(MVRP_DEBUG_TRANSMIT, port->portunit, vid,
                   "Send leave all pkt2; port:%u, vid:%u, madMachine:0x%02x\r\n", port->portunit,
                   vid, *machine);
    }
}

/// Whether a VLAN may stand in a LeaveAll vector: its applicant is neither idle nor only observing.
constexpr bool mvrpLeaveallCarries(u8 machine) {
    constexpr u32 kLeftOut = 1U << APP_STATE_VO | 1U << APP_STATE_LA | 1U << APP_STATE_LO |
                             1U << APP_STATE_AO | 1U << APP_STATE_QO;
    return (kLeftOut >> mvrpApplicant(machine) & 1U) == 0;
}

/// An active VLAN opens a run; a run that is open takes VLANs without either flag along.
constexpr MvrpByteMarks kLeaveallOpening = mvrpByteMarks(
    [](u8 machine) { return mvrpVlanActive(machine) && mvrpLeaveallCarries(machine); });
constexpr MvrpByteMarks kLeaveallExtending = mvrpByteMarks(mvrpLeaveallCarries);

}  // namespace

s32 mvrpPortSendPkt(MvrpPortEntry* port) {
    if (!mvrpMaySend(port))
        return -1;
    mvrpDeclarationsSend(port);
    mvrpJoinCycleStep(port, MVRP_JOIN_FULL);
    return 0;
}

void mvrpPortSendAgain(MvrpPortEntry* port) {
    gMvrpSentBefore.forEach([port](std::span<const u8> body) { mvrpSendPdu(port, body); });
    mvrpJoinCycleStep(port, MVRP_JOIN_FULL);
}

s32 mvrpPortSendJoinPkt(MvrpPortEntry* port) {
    if (!mvrpMaySend(port))
        return -1;
    mvrpRunsSend<MvrpFixedRegistrations>(port, mvrpCandidatesOf<MvrpFixedRegistrations>(port));
    mvrpJoinCycleStep(port, MVRP_JOIN_FIXED_ONLY);
    return 0;
}

s32 mvrpSendLeaveallPkt(MvrpPortEntry* port) {
    if (port == nullptr)
        return -1;
    MvrpVlanBitmap opening;
    MvrpVlanBitmap extending;
    gMvrpBytes.mark(mvrpMachines(port), kLeaveallOpening, &opening);
    gMvrpBytes.mark(mvrpMachines(port), kLeaveallExtending, &extending);
    MvrpPdu pdu;
    mvrpPduBegin(&pdu);
    u32 vid = kMvrpVlanFirst;
    while ((vid = mvrpBitmapNext(opening, vid - 1) + 1) <= kMvrpVlanLast) {
        const u32 endVid = mvrpBitmapNext(extending, vid - 1, false) + 1;
        const u32 count = endVid - vid;
        if (!mvrpLeaveallVectorFits(port, pdu, count)) {
            const s32 result = mvrpPduSend(port, pdu);
            mvrpLeaveallRestApply(port, vid);
            return result;
        }
        // An impossible applicant state moves the position back by the builder's -1.
        pdu.used = std::max(0, pdu.used + mvrpLeaveallVectorBuild(port, endVid, count, pdu.rest()));
        vid = endVid;
    }
    return mvrpPduSend(port, pdu);
}

s32 mvrpSendPdu(MvrpPortEntry* port, std::span<const u8> body) {
    std::array<u8, kMvrpHeaderBytes> header;
    mvrpFrameHeaderBegin(header, port, body.size());
    std::copy(kMvrpLlcSnap.begin(), kMvrpLlcSnap.end(), header.begin() + kMvrpEthernetHeaderBytes);

    mvrpPrintPacket(body.data(), static_cast<s32>(body.size()));
    const ssize_t sent =
        mvrpFrameSend(gMvrpInfo.mvrpDataSock, port, kQorProtocolMvrp, header, body);
    const bool whole = sent == static_cast<ssize_t>(header.size() + body.size());
    MVRP_TRACE(MVRP_DEBUG_TRANSMIT, port->portunit, 0, "send pdu %s; port:%u, len:%u\r\n",
               whole ? "OK" : "failed", port->portunit, static_cast<u32>(body.size()));
    return static_cast<s32>(sent);
}
