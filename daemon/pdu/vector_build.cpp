// SPDX-License-Identifier: MIT
//
// The builders of one vector: which attribute event each VLAN's applicant and registrar call for,
// the machine event that follows from sending it, and the packing.
#include <algorithm>

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/fsm/machine.h"
#include "daemon/fsm/machines.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/send.h"
#include "daemon/pdu/sent_before.h"
#include "daemon/pdu/vector.h"
#include "daemon/timers/leave_clock.h"

namespace {

/// Packs attribute events three to a byte. A position that is passed over touches neither the
/// accumulator nor the byte: a later event lands in the byte that it would be in had the VLAN been
/// present. Wanted so.
class MvrpEventPacker {
  public:
    explicit MvrpEventPacker(std::span<u8> packed) : packed_(packed) {}

    void passOver() { ++position_; }

    void put(u32 event) {
        switch (position_ % kMvrpEventsPerByte) {
            case 0:
                accumulator_ = event * kMvrpFirstEventWeight;
                break;
            case 1:
                accumulator_ += event * kMvrpSecondEventWeight;
                break;
            default:
                accumulator_ += event;
                packed_[position_ / kMvrpEventsPerByte] = static_cast<u8>(accumulator_);
                break;
        }
        ++position_;
    }

    /// Writes an incomplete last byte.
    void finish() {
        if (position_ % kMvrpEventsPerByte != 0)
            packed_[position_ / kMvrpEventsPerByte] = static_cast<u8>(accumulator_);
    }

  private:
    std::span<u8> packed_;
    u32 position_ = 0;
    u32 accumulator_ = 0;
};

/// Attribute event and machine event of one applicant and registrar, and the number of the trace
/// line before the machine event; the line after it has the next number.
struct MvrpSending {
    MvrpAttributeEvent attribute;
    MvrpEvent event;
    u32 traceStep;
};

/// @return false for an applicant that sends nothing of its own
constexpr bool mvrpSendingChoose(u8 machine, MvrpSending* sending) {
    const bool in = mvrpRegistrarIn(machine);
    switch (mvrpApplicant(machine)) {
        case APP_STATE_VP:
        case APP_STATE_AA:
        case APP_STATE_QA:
        case APP_STATE_AP:
            *sending = {in ? MVRP_ATTRIBUTE_JOIN_IN : MVRP_ATTRIBUTE_JOIN_MT, MVRP_EVENT_JOIN_SENT,
                        3};
            return true;
        case APP_STATE_VN_M:
        case APP_STATE_AN_M:
            *sending = {MVRP_ATTRIBUTE_NEW, in ? MVRP_EVENT_NEW_SENT_IN : MVRP_EVENT_NEW_SENT_OUT,
                        5};
            return true;
        case APP_STATE_LA:
            *sending = {MVRP_ATTRIBUTE_LV, MVRP_EVENT_LV_SENT, 1};
            return true;
        case APP_STATE_LO:
            *sending = in ? MvrpSending{MVRP_ATTRIBUTE_IN, MVRP_EVENT_IN_SENT, 7}
                          : MvrpSending{MVRP_ATTRIBUTE_MT, MVRP_EVENT_MT_SENT, 9};
            return true;
        default:
            return false;
    }
}

void mvrpVectorTrace(const MvrpPortEntry* port, u32 vid, u32 step) {
    MVRP_TRACE(MVRP_DEBUG_TRANSMIT, port->portunit, vid,
               "vector build step%u; port:%u, vid:%u, madMachine:0x%02x\r\n", step, port->portunit,
               vid, port->madMachine[vid - 1]);
}

void mvrpSentApply(MvrpPortEntry* port, u32 vid, const MvrpSending& sending) {
    mvrpVectorTrace(port, vid, sending.traceStep);
    mvrpFsmChange(&port->madMachine[vid - 1], sending.event, MVRP_PROTOCOL_MVRP);
    mvrpVectorTrace(port, vid, sending.traceStep + 1);
}

/// Whether an inactive VLAN is forgotten once its last word is sent: if the VLAN below it is a
/// dynamic one. That the VLAN below is asked about, not this one, is wanted, unless corrected; then
/// one that is gone is forgotten, too.
bool mvrpInactiveGoes(const MvrpPortEntry* port, u32 vid) {
    if (!mvrpCorrects(Correction::StaticKept))
        return mvrpVlanType(vid - 1) == QorVlanType::Dynamic;
    const std::optional<QorVlanType> type = mvrpVlanType(vid);
    if (!type.has_value())
        correctionActed(Correction::StaticKept, port->portunit, vid);
    return type.value_or(QorVlanType::Dynamic) == QorVlanType::Dynamic;
}

void mvrpInactiveForget(MvrpPortEntry* port, u32 vid) {
    u8* machine = &port->madMachine[vid - 1];
    if (mvrpVlanActive(*machine) || !mvrpInactiveGoes(port, vid))
        return;
    mvrpVectorTrace(port, vid, 11);
    *machine = 0;
    mvrpVectorTrace(port, vid, 12);
}

/// Participant mode 3 says nothing about a VLAN that is not registered: it sends no Mt, and takes a
/// join as sent without sending it. @return whether the VLAN was passed over
bool mvrpQuietPassOver(MvrpPortEntry* port, u32 vid, const MvrpSending& sending) {
    if (port->participant_mode != MVRP_PARTICIPANT_QUIET)
        return false;
    if (sending.attribute == MVRP_ATTRIBUTE_MT)
        return true;
    if (sending.attribute != MVRP_ATTRIBUTE_JOIN_MT)
        return false;
    mvrpSentApply(port, vid, sending);
    return true;
}

/// Writes header and first value. @return where the packed events go; empty when there is no room
std::span<u8> mvrpVectorBegin(std::span<u8> out, u32 header, u32 firstVid, u32 count) {
    const u32 bytes = kMvrpVectorHeaderBytes + mvrpPackedBytes(count);
    if (out.size() < bytes)
        return {};
    mvrpWriteBe16(&out[0], header);
    mvrpWriteBe16(&out[2], firstVid);
    return out.subspan(kMvrpVectorHeaderBytes, mvrpPackedBytes(count));
}

s32 mvrpVectorLength(std::span<const u8> packed) {
    return static_cast<s32>(kMvrpVectorHeaderBytes + packed.size());
}

/// Attribute event of a VLAN in a LeaveAll vector, from the state after its machine event.
/// @return false for a state that has none
constexpr bool mvrpLeaveallEventChoose(u8 machine, MvrpAttributeEvent* event) {
    switch (mvrpApplicant(machine)) {
        case APP_STATE_VP:
            *event = mvrpRegistrarIn(machine) ? MVRP_ATTRIBUTE_IN : MVRP_ATTRIBUTE_MT;
            return true;
        case APP_STATE_VN_M:
        case APP_STATE_AN_M:
            *event = MVRP_ATTRIBUTE_NEW;
            return true;
        case APP_STATE_AA:
        case APP_STATE_QA:
        case APP_STATE_AP:
        case APP_STATE_QP:
            *event = mvrpRegistrarIn(machine)                 ? MVRP_ATTRIBUTE_JOIN_IN
                     : mvrpRegistrar(machine) == REG_STATE_MT ? MVRP_ATTRIBUTE_JOIN_MT
                                                              : MVRP_ATTRIBUTE_MT;
            return true;
        default:
            return false;
    }
}

// What a whole run sends, in one pass -------------------------------------------------------------

/// In place of an attribute event: there is none.
constexpr u8 kNoAttribute = 0x80;
/// Beside an attribute event: the VLAN has neither flag, and may be forgotten once it is sent.
constexpr u8 kInactive = 0x40;

/// Attribute event of each machine, and the machine once that is sent.
constexpr MvrpByteMap kSendingEvents = mvrpByteMap([](u8 machine) {
    MvrpSending sending = {};
    if (!mvrpSendingChoose(machine, &sending))
        return kNoAttribute;
    const u8 inactive = mvrpVlanActive(machine) ? u8{0} : kInactive;
    return static_cast<u8>(sending.attribute | inactive);
});
constexpr MvrpByteMap kSentMachines = mvrpByteMap([](u8 machine) {
    MvrpSending sending = {};
    return mvrpSendingChoose(machine, &sending)
               ? mvrpMachineAfter(machine, sending.event, MVRP_PROTOCOL_MVRP)
               : machine;
});

/// The same for a LeaveAll vector.
constexpr u8 mvrpMachineInLeaveall(u8 machine) {
    return mvrpMachineAfter(machine, MVRP_EVENT_IN_LEAVE_ALL, MVRP_PROTOCOL_MVRP);
}
constexpr MvrpByteMap kLeaveallEvents = mvrpByteMap([](u8 machine) {
    MvrpAttributeEvent event = MVRP_ATTRIBUTE_NEW;
    return mvrpLeaveallEventChoose(mvrpMachineInLeaveall(machine), &event) ? static_cast<u8>(event)
                                                                           : kNoAttribute;
});
constexpr MvrpByteMap kLeaveallMachines = mvrpByteMap(mvrpMachineInLeaveall);
/// Machines that are leaving by being carried in one, but for an idle byte, which is never carried.
constexpr MvrpByteMarks kLeaveallLeaving = mvrpByteMarks([](u8 machine) {
    return machine != 0 && mvrpRegistrar(machine) != REG_STATE_LV &&
           mvrpRegistrar(mvrpMachineInLeaveall(machine)) == REG_STATE_LV;
});

/// The same for a whole port, of whose VLANs only some have something to say: the others count as
/// 0, which is what is missing in the last byte of a vector.
constexpr MvrpByteMap kDeclaredEvents = mvrpByteMap(
    [](u8 machine) { return mvrpDeclares(machine) ? kSendingEvents.table[machine] : u8{0}; });
static_assert([] {
    for (u32 machine = 0; machine < 256; ++machine)
        if (!mvrpDeclares(static_cast<u8>(machine)) && kSentMachines.table[machine] != machine)
            return false;
    return true;
}());

/// Runs from this length on are worth a form that sets out for long ones.
constexpr u32 kLongRun = 64;

const MvrpByteForm& mvrpFormFor(std::span<const u8> run) {
    return run.size() < kLongRun ? kMvrpPlainForm : gMvrpBytes;
}

/// What became of a run.
enum class MvrpPacked {
    No,            ///< nothing was done: one of its machines sends nothing
    Yes,           ///< what its machines send is packed, and applied as sent
    WithInactive,  ///< the same, and there are machines with neither flag
};

MvrpPacked mvrpRunPack(std::span<u8> machines, const MvrpByteMap& events, const MvrpByteMap& sent,
                       std::span<u8> packed) {
    std::array<u8, kMvrpVlanCount> kept;
    const std::span<u8> attributes = std::span(kept).first(machines.size());
    const MvrpByteForm& form = mvrpFormFor(machines);
    const u8 all = form.look(machines, events, attributes.data());
    if ((all & kNoAttribute) != 0)
        return MvrpPacked::No;
    const bool inactive = (all & kInactive) != 0;
    if (inactive)
        for (u8& attribute : attributes)
            attribute &= static_cast<u8>(~kInactive);
    form.pack(attributes, packed.data());
    form.apply(machines, sent);
    return inactive ? MvrpPacked::WithInactive : MvrpPacked::Yes;
}

std::span<u8> mvrpRunMachines(MvrpPortEntry* port, u32 firstVid, u32 count) {
    return mvrpMachines(port).subspan(firstVid - 1, count);
}

/// Whether what a port sends may be worked out for many VLANs at once: nothing is traced, and no
/// VLAN is passed over.
bool mvrpSendsAtOnce(const MvrpPortEntry* port) {
    return (gMvrpInfo.debug & MVRP_DEBUG_TRANSMIT) == 0 &&
           port->participant_mode != MVRP_PARTICIPANT_QUIET;
}

/// Builds a vector in one pass. @return false, with nothing done, where each VLAN is a matter of
/// its own: its steps are traced, it may be passed over, or it repeats the event before it
bool mvrpVectorBuildAtOnce(MvrpPortEntry* port, u32 firstVid, u32 count, std::span<u8> packed) {
    if (!mvrpSendsAtOnce(port))
        return false;
    const std::span<u8> machines = mvrpRunMachines(port, firstVid, count);
    const MvrpPacked done = mvrpRunPack(machines, kSendingEvents, kSentMachines, packed);
    if (done == MvrpPacked::WithInactive) {
        gMvrpSentBefore.spoil();  // the switch is asked
        for (u32 vid = firstVid; vid < firstVid + count; ++vid)
            mvrpInactiveForget(port, vid);
    }
    return done != MvrpPacked::No;
}

}  // namespace

bool mvrpDeclarationsTake(MvrpPortEntry* port, MvrpDeclaredEvents* declared) {
    if (!mvrpSendsAtOnce(port))
        return false;
    const u8 all = gMvrpBytes.look(mvrpMachines(port), kDeclaredEvents, declared->data());
    if ((all & (kNoAttribute | kInactive)) != 0)
        return false;
    std::fill(declared->begin() + kMvrpVlanCount, declared->end(), u8{0});
    gMvrpBytes.apply(mvrpMachines(port), kSentMachines);
    return true;
}

u32 mvrpDeclaredVectorWrite(const MvrpDeclaredEvents& declared, u32 index, u32 count, u8* out) {
    mvrpWriteBe16(out, count);
    mvrpWriteBe16(out + 2, index + 1);
    const std::span<const u8> events = std::span(declared).subspan(index, count);
    mvrpFormFor(events).pack(events, out + kMvrpVectorHeaderBytes);
    return kMvrpVectorHeaderBytes + mvrpPackedBytes(count);
}

s32 mvrpVectorBuild(MvrpPortEntry* port, u32 endVlan, u32 count, std::span<u8> out) {
    const std::span<u8> packed = mvrpVectorBegin(out, count, endVlan - count, count);
    if (packed.empty())
        return -1;
    if (mvrpVectorBuildAtOnce(port, endVlan - count, count, packed))
        return mvrpVectorLength(packed);
    gMvrpSentBefore.spoil();
    MvrpEventPacker packer(packed);
    MvrpAttributeEvent last = MVRP_ATTRIBUTE_NEW;
    for (u32 vid = endVlan - count; vid < endVlan; ++vid) {
        MvrpSending sending;
        if (mvrpSendingChoose(port->madMachine[vid - 1], &sending)) {
            if (mvrpQuietPassOver(port, vid, sending)) {
                packer.passOver();
                continue;
            }
            mvrpSentApply(port, vid, sending);
            last = sending.attribute;
        }
        packer.put(last);
        mvrpInactiveForget(port, vid);
    }
    packer.finish();
    return mvrpVectorLength(packed);
}

s32 mvrpLeaveallVectorBuild(MvrpPortEntry* port, u32 endVlan, u32 count, std::span<u8> out) {
    const std::span<u8> packed =
        mvrpVectorBegin(out, kMvrpLeaveAllBit | count, endVlan - count, count);
    if (packed.empty())
        return -1;
    const std::span<u8> machines = mvrpRunMachines(port, endVlan - count, count);
    MvrpVlanBitmap leaving;
    const bool anyLeaving = mvrpLeavingMark(machines, kLeaveallLeaving, &leaving);
    if (mvrpRunPack(machines, kLeaveallEvents, kLeaveallMachines, packed) != MvrpPacked::No) {
        if (anyLeaving)
            mvrpLeaveClockBegin(std::span(port->vlanFlag).subspan(endVlan - count - 1, count),
                                leaving);
        return mvrpVectorLength(packed);
    }
    MvrpEventPacker packer(packed);
    for (u32 vid = endVlan - count; vid < endVlan; ++vid) {
        mvrpMachineChange(port, vid, MVRP_EVENT_IN_LEAVE_ALL, MVRP_PROTOCOL_MVRP);
        MvrpAttributeEvent event = MVRP_ATTRIBUTE_NEW;
        if (!mvrpLeaveallEventChoose(port->madMachine[vid - 1], &event))
            return -1;
        packer.put(event);
    }
    packer.finish();
    return mvrpVectorLength(packed);
}

s32 mvrpJoinVectorBuild(MvrpPortEntry* port, u32 endVlan, u32 count, std::span<u8> out) {
    const std::span<u8> packed = mvrpVectorBegin(out, count, endVlan - count, count);
    if (packed.empty())
        return -1;
    MvrpEventPacker packer(packed);
    for (u32 vid = endVlan - count; vid < endVlan; ++vid) {
        packer.put(MVRP_ATTRIBUTE_JOIN_MT);
        mvrpFsmChange(&port->madMachine[vid - 1], MVRP_EVENT_JOIN_SENT, MVRP_PROTOCOL_MVRP);
    }
    packer.finish();
    return mvrpVectorLength(packed);
}
