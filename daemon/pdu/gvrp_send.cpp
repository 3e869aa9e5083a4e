// SPDX-License-Identifier: MIT
#include "daemon/pdu/gvrp_send.h"

#include <optional>

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/machines.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/gvrp_format.h"
#include "daemon/timers/protocol_timers.h"

namespace {

constexpr std::array<u8, 3> kGvrpLlc = {0x42, 0x42, 0x03};
constexpr u32 kGvrpHeaderBytes = kMvrpEthernetHeaderBytes + kGvrpLlc.size();

/// Protocol identifier 0x0001 and the attribute type.
constexpr std::array<u8, 3> kGvrpBodyBegin = {0x00, 0x01, kMvrpAttributeTypeVlan};
/// End mark of the attribute list, and of the PDU.
constexpr u32 kGvrpEndMarkBytes = 2;

constexpr std::array<u8, 7> kGvrpLeaveAllBody = {
    0x00, 0x01, kMvrpAttributeTypeVlan, kGvrpLeaveAllBytes, GVRP_ATTRIBUTE_LEAVE_ALL, 0x00, 0x00};

/// What is written for one VLAN, and the machine event that follows from it.
struct GvrpSending {
    GvrpAttributeEvent attribute;
    GvrpEvent event;
};

/// A list of attributes being built, sent whenever it is full.
class GvrpAttributeList {
  public:
    explicit GvrpAttributeList(MvrpPortEntry* port)
        : port_(port), limit_(static_cast<s32>(mvrpPduBound(port) - kMvrpPduReserve)) {
        begin();
    }

    bool empty() const { return written_ == 0; }

    /// Adds a VLAN attribute. One that would take the body beyond the limit goes into a new PDU,
    /// and stays there whatever the limit is.
    void add(GvrpAttributeEvent event, u32 vid) {
        if (static_cast<s32>(used_ + kGvrpVlanAttributeBytes) > limit_) {
            send();
            begin();
        }
        body_[used_] = kGvrpVlanAttributeBytes;
        body_[used_ + 1] = event;
        mvrpWriteBe16(&body_[used_ + 2], vid);
        used_ += kGvrpVlanAttributeBytes;
        ++written_;
    }

    void send() {
        mvrpGvrpSendPdu(port_, std::span<const u8>(body_).first(used_ + kGvrpEndMarkBytes));
    }

  private:
    void begin() {
        body_ = {};
        std::copy(kGvrpBodyBegin.begin(), kGvrpBodyBegin.end(), body_.begin());
        used_ = kGvrpBodyBegin.size();
    }

    MvrpPortEntry* port_;
    std::array<u8, kMvrpPduBytes> body_;
    s32 limit_;  ///< bytes; negative for a port with a very small MTU
    u32 used_ = 0;
    u32 written_ = 0;  ///< attributes, in all PDUs
};

/// Whether a join says that the VLAN is registered here: by REG-BIT, or, if that is corrected, by
/// the registrar. The JoinIn of a registrar that is leaving makes the neighbour take its own
/// declaration for superfluous, and the registration runs out.
bool mvrpGvrpSaysIn(u8 machine, bool byRegistrar) {
    return byRegistrar ? mvrpRegistrarIn(machine) : mvrpBitTest(&machine, MVRP_REG_BIT) != 0;
}

/// What a joining applicant sends; nothing for an applicant with nothing to say.
std::optional<GvrpSending> mvrpGvrpJoinChoose(u8 machine) {
    const bool byRegistrar = mvrpCorrects(Correction::GvrpStaticRenewed);
    switch (mvrpApplicant(machine)) {
        case APP_STATE_VA_G:
        case APP_STATE_AA:
        case APP_STATE_VP:
        case APP_STATE_AP:
            if (mvrpGvrpSaysIn(machine, byRegistrar))
                return GvrpSending{GVRP_ATTRIBUTE_JOIN_IN, GVRP_EVENT_JOIN_IN_SENT};
            return GvrpSending{GVRP_ATTRIBUTE_JOIN_EMPTY, GVRP_EVENT_JOIN_EMPTY_SENT};
        case APP_STATE_LO:
            return GvrpSending{GVRP_ATTRIBUTE_EMPTY, GVRP_EVENT_EMPTY_SENT};
        default:
            return std::nullopt;
    }
}

/// Applicants that mvrpGvrpJoinChoose() has something for.
constexpr bool mvrpGvrpJoins(u8 machine) {
    constexpr u32 kJoining = 1U << APP_STATE_VA_G | 1U << APP_STATE_AA | 1U << APP_STATE_VP |
                             1U << APP_STATE_AP | 1U << APP_STATE_LO;
    return (kJoining >> mvrpApplicant(machine) & 1U) != 0;
}
constexpr MvrpByteMarks kGvrpJoining = mvrpByteMarks(mvrpGvrpJoins);
constexpr MvrpByteMarks kGvrpLeaving =
    mvrpByteMarks([](u8 machine) { return mvrpApplicant(machine) == APP_STATE_LA; });

/// Calls `action` with each VLAN whose machine is marked, in order. The action may change that
/// machine.
template <class Action>
void mvrpGvrpForEach(const MvrpPortEntry* port, const MvrpByteMarks& which, Action action) {
    MvrpVlanBitmap vlans;
    gMvrpBytes.mark(mvrpMachines(port), which, &vlans);
    mvrpForEachVlan(vlans, action);
}

GvrpSending mvrpGvrpLeaveChoose(u8 machine) {
    if (mvrpBitTest(&machine, MVRP_REG_BIT) != 0)
        return {GVRP_ATTRIBUTE_LEAVE_IN, GVRP_EVENT_LEAVE_IN_SENT};
    return {GVRP_ATTRIBUTE_LEAVE_EMPTY, GVRP_EVENT_LEAVE_EMPTY_SENT};
}

/// Whether the port's registration mode lets it declare a VLAN.
bool mvrpGvrpMayDeclare(const MvrpPortEntry* port, u32 vid) {
    switch (port->registration_mode) {
        case MVRP_REGISTRATION_FORBIDDEN:
            return vid == kMvrpDefaultVlan;
        case MVRP_REGISTRATION_FIXED:
            return !mvrpVlanKnownAndNot(vid, QorVlanType::Static);
        default:
            return true;
    }
}

void mvrpGvrpJoinTrace(const MvrpPortEntry* port, u32 vid, const char* step) {
    MVRP_TRACE(MVRP_DEBUG_TRANSMIT, port->portunit, vid, "Gvrp send join pkt; %s.(%u,%u,0x%#x)\r\n",
               step, port->portunit, vid, port->madMachine[vid - 1]);
}

/// Applies the machine event of a join or an Empty, with a line before and after it.
void mvrpGvrpJoinApply(MvrpPortEntry* port, u32 vid, const GvrpSending& sending) {
    const bool join = sending.attribute != GVRP_ATTRIBUTE_EMPTY;
    mvrpGvrpJoinTrace(port, vid, join ? "one" : "three");
    mvrpFsmChange(&port->madMachine[vid - 1], sending.event, MVRP_PROTOCOL_GVRP);
    mvrpGvrpJoinTrace(port, vid, join ? "two" : "four");
}

}  // namespace

s32 mvrpGvrpSendJoinPkt(MvrpPortEntry* port) {
    if (port->linkState == 0)
        return 0;
    GvrpAttributeList list(port);
    mvrpGvrpForEach(port, kMvrpPropagatedMachines, [port, &list](u32 vid) {
        if (!mvrpGvrpMayDeclare(port, vid))
            return;
        const std::optional<GvrpSending> sending = mvrpGvrpJoinChoose(port->madMachine[vid - 1]);
        if (!sending.has_value() || !mvrpPortCarriesVlan(port->portunit, vid))
            return;
        mvrpGvrpJoinApply(port, vid, *sending);
        list.add(sending->attribute, vid);
    });
    if (list.empty())
        return 0;
    list.send();
    mvrpJoinCycleStep(port, MVRP_JOIN_FULL);
    return 0;
}

s32 mvrpForwardGvrpJoinPkt(MvrpPortEntry* port) {
    if (port->linkState == 0) {
        if (port->msgNum < kMvrpJoinRepeats)
            mvrpJoinTimerArm(port, MVRP_JOIN_FULL, port->join_timeout);
        return 0;
    }
    GvrpAttributeList list(port);
    mvrpGvrpForEach(port, kGvrpJoining, [port, &list](u32 vid) {
        u8* machine = &port->madMachine[vid - 1];
        const std::optional<GvrpSending> sending = mvrpGvrpJoinChoose(*machine);
        if (!sending.has_value() || !mvrpPortCarriesVlan(port->portunit, vid))
            return;
        mvrpFsmChange(machine, sending->event, MVRP_PROTOCOL_GVRP);
        list.add(sending->attribute, vid);
    });
    if (list.empty())
        return 0;
    list.send();
    mvrpJoinCycleStep(port, MVRP_JOIN_FIXED_ONLY);
    return 0;
}

s32 mvrpForwardGvrpLeavePkt(MvrpPortEntry* port) {
    if (port->linkState == 0)
        return 0;
    GvrpAttributeList list(port);
    mvrpGvrpForEach(port, kGvrpLeaving, [port, &list](u32 vid) {
        u8* machine = &port->madMachine[vid - 1];
        const GvrpSending sending = mvrpGvrpLeaveChoose(*machine);
        list.add(sending.attribute, vid);
        mvrpFsmChange(machine, sending.event, MVRP_PROTOCOL_GVRP);
        if (!mvrpVlanActive(*machine))
            *machine = 0;
    });
    if (!list.empty())
        list.send();
    return 0;
}

s32 mvrpGvrpSendLeaveallPkt(MvrpPortEntry* port) {
    const s32 result = mvrpGvrpSendPdu(port, kGvrpLeaveAllBody);
    MVRP_TRACE(MVRP_DEBUG_TRANSMIT, port->portunit, 0, "send leave all done.(%u,%d)\r\n",
               port->portunit, result);
    return result;
}

s32 mvrpGvrpSendPdu(MvrpPortEntry* port, std::span<const u8> body) {
    std::array<u8, kGvrpHeaderBytes> header;
    mvrpFrameHeaderBegin(header, port, body.size());
    std::copy(kGvrpLlc.begin(), kGvrpLlc.end(), header.begin() + kMvrpEthernetHeaderBytes);
    // The address names no protocol here, unlike that of an MVRP frame.
    const ssize_t sent = mvrpFrameSend(gMvrpInfo.gvrpDataSock, port, 0, header, body);
    const bool whole = sent == static_cast<ssize_t>(header.size() + body.size());
    return whole ? static_cast<s32>(sent) : -1;
}
