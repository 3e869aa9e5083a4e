// SPDX-License-Identifier: MIT
//
// One attribute event of many VLANs at once: passes over their machines and flags in place of a
// step for each.
#include "daemon/base/trace.h"
#include "daemon/db/port_vlan.h"
#include "daemon/pdu/admission.h"
#include "daemon/pdu/reception.h"
#include "daemon/pdu/vector.h"

namespace {

/// Machines that an event makes anxious.
constexpr MvrpByteMarks mvrpAnxiousMarks(const MvrpByteMap& after) {
    MvrpByteMarks marks = {};
    marks.map = mvrpByteMap([&after](u8 machine) {
        return mvrpBecameAnxious(machine, after.table[machine]) ? kMvrpMark : u8{0};
    });
    marks.needed = mvrpMarksNeeded(marks.map.table);
    return marks;
}
constexpr MvrpByteMarks kAnxiousByMt = mvrpAnxiousMarks(kMvrpReceivedObserved<MVRP_EVENT_R_MT>);
constexpr MvrpByteMarks kAnxiousByJoinMt =
    mvrpAnxiousMarks(kMvrpReceivedJoin<MVRP_EVENT_R_JOIN_MT>);
static_assert(kAnxiousByMt.map.table[0] == 0 && kAnxiousByJoinMt.map.table[0] == 0);

/// What an attribute event is to a run.
struct MvrpRunRule {
    const MvrpByteMap* after;      ///< what it makes of machines
    const MvrpByteMarks* anxious;  ///< those that become anxious by it; null: none does
    bool joins;                    ///< it declares its VLAN
};

/// By attribute event, up to Mt.
constexpr std::array<MvrpRunRule, MVRP_ATTRIBUTE_MT + 1> kRunRules = {{
    {&kMvrpReceivedJoin<MVRP_EVENT_R_NEW>, nullptr, true},
    {&kMvrpReceivedJoin<MVRP_EVENT_R_JOIN_IN>, nullptr, true},
    {&kMvrpReceivedObserved<MVRP_EVENT_R_IN>, nullptr, false},
    {&kMvrpReceivedJoin<MVRP_EVENT_R_JOIN_MT>, &kAnxiousByJoinMt, true},
    {&kMvrpReceivedObserved<MVRP_EVENT_R_MT>, &kAnxiousByMt, false},
}};
static_assert(MVRP_ATTRIBUTE_NEW == 0 && MVRP_ATTRIBUTE_JOIN_IN == 1 && MVRP_ATTRIBUTE_IN == 2 &&
              MVRP_ATTRIBUTE_JOIN_MT == 3 && MVRP_ATTRIBUTE_MT == 4);
constexpr MvrpRunRule kJoinInNoObserve = {&kMvrpReceivedJoin<MVRP_EVENT_R_JOIN_IN_NO_OBSERVE>,
                                          nullptr, true};

const MvrpRunRule& mvrpRunRule(const MvrpPortEntry* port, u32 event) {
    const bool observes = port->participant_mode != MVRP_PARTICIPANT_NO_OBSERVE;
    return event == MVRP_ATTRIBUTE_JOIN_IN && !observes ? kJoinInNoObserve : kRunRules[event];
}

/// Whether the port may hear declarations of all of them without the host being asked.
bool mvrpRunAdmitted(const MvrpReception& reception, std::span<const u8> machines) {
    constexpr u8 kRegistered = kMvrpBitMask[MVRP_REG_BIT];
    return !mvrpAdmissionAsked() || (mvrpShown(reception.facts) & QorPortFacts::kAdmitsAll) != 0 ||
           gMvrpBytes.all(machines, kRegistered, kRegistered);
}

constexpr u8 kApplied = kMvrpBitMask[MVRP_FLAG_APPLIED];
constexpr u8 kRemoved = kMvrpBitMask[MVRP_FLAG_REMOVE];
constexpr MvrpByteMap kStaying =
    mvrpByteMap([](u8 flag) { return static_cast<u8>(flag & ~kRemoved); });

/// Marks registered VLANs for the switch, those that are not applied already.
void mvrpRegistrationsMark(const MvrpReception& reception, u32 vid, u32 endVid) {
    const u32 count = endVid - vid;
    const std::span<u8> flags = std::span(reception.port->vlanFlag).subspan(vid - 1, count);
    if (gMvrpBytes.all(flags, kApplied | kRemoved, kApplied))
        return;  // as most often
    gMvrpBytes.apply(flags, kStaying);
    MvrpVlanBitmap applied;  // of the run: bit 0 is that of `vid`
    gMvrpBytes.mark(flags, kMvrpAppliedFlags, &applied);
    for (u32 index = mvrpBitmapNext(applied, 0, false); index < count;
         index = mvrpBitmapNext(applied, index + 1, false))
        mvrpRegistrationQueue(reception, vid + index);
}

/// Whether the port's list has the VLAN. One that can not be read counts as having it.
bool mvrpPortLists(const MvrpReception& reception, u32 vid) {
    if (const std::optional<bool> shown = mvrpPermitShown(reception.facts, vid); shown.has_value())
        return *shown;
    // The VLAN's own bit stands for the port's list when that can not be read; no other is looked
    // at, so the rest is not zeroed for each VLAN of a PDU.
    const u32 unit = reception.port->portunit;
    MvrpVlanBitmap carried;
    carried[(vid - 1) / 8] = kMvrpBitMask[(vid - 1) % 8];
    if (!mvrpPortVlansRead(unit, QorIfAttribute::Permitted, &carried)) {
        MVRP_TRACE(MVRP_DEBUG_STATE, unit, vid,
                   "vector process; port %u vlan %u status get failed. (%u)\n\r", unit, vid,
                   gMvrpInfo.vlanEntryNum);
    }
    return mvrpBitTest(carried.data(), vid - 1) != 0;
}

}  // namespace

u32 mvrpPortPvidAsk(u32 unit) {
    u32 pvid = kMvrpDefaultVlan;
    if (qorIfGetApi(unit, static_cast<u32>(QorIfAttribute::Pvid), &pvid) != kStatusOk) {
        MVRP_TRACE(MVRP_DEBUG_STATE, unit, 0, "Vector process; get port %d pvid failed\r\n", unit);
    }
    return pvid;
}

void mvrpRegistrationQueue(const MvrpReception& reception, u32 vid) {
    MvrpPortEntry* port = reception.port;
    if (mvrpPortLists(reception, vid))
        mvrpBitSet(&port->vlanFlag[vid - 1], MVRP_FLAG_ADD);
    if (mvrpPortVlanEntryEnsure(port->portunit, vid)) {
        MVRP_TRACE(MVRP_DEBUG_DATABASE, port->portunit, vid,
                   "vector process; port %u vlan %u entry add. (%u)\n\r", port->portunit, vid,
                   gMvrpInfo.vlanEntryNum);
    }
}

bool mvrpRunsAllowed(const MvrpReception& reception) {
    return reception.registers && mvrpShown(reception.facts) != 0 &&
           (gMvrpInfo.debug & MVRP_DEBUG_RECEIVE) == 0;
}

u32 mvrpRunEnd(const MvrpReception& reception, u32 vid, u32 endVid) {
    const u32 pvid = mvrpPortPvid(reception);
    if (pvid >= vid)
        endVid = std::min(endVid, pvid);
    return mvrpNextFixed(reception.facts, vid, std::min(endVid, kMvrpVlanLast));
}

bool mvrpRunReceive(MvrpReception* reception, u32 vid, u32 endVid, u32 event) {
    const MvrpRunRule& rule = mvrpRunRule(reception->port, event);
    const std::span<u8> machines = mvrpMachines(reception->port).subspan(vid - 1, endVid - vid);
    if (reception->hears && rule.anxious != nullptr && gMvrpBytes.has(machines, *rule.anxious))
        return false;
    if (rule.joins && !mvrpRunAdmitted(*reception, machines))
        return false;
    gMvrpBytes.apply(machines, *rule.after);
    if (rule.joins) {
        mvrpBitmapAddRange(&reception->joined, vid - 1, endVid - vid);
        mvrpRegistrationsMark(*reception, vid, endVid);
    }
    return true;
}
