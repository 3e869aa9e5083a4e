// SPDX-License-Identifier: MIT
#include "platform/switch/admission.h"

#include <bit>

#include "platform/model/vlan_algebra.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

u32 countOf(const VlanBitmap& vlans) {
    u32 count = 0;
    for (const u8 byte : vlans)
        count += static_cast<u32>(std::popcount(byte));
    return count;
}

/// What the port has registered, as far as the host knows. Memberships of an earlier daemon are
/// none, until they are declared again.
VlanBitmap registeredOn(const SwitchPort& port) {
    const VlanBitmap members = vlanDifference(port.dynamic, port.adopted);
    return vlanUnion(members, vlanUnion(port.admitted.recent, port.admitted.older));
}

/// Forgets what was admitted long ago and never applied.
void turn(RecentlyAdmitted& admitted, u64 nowMs) {
    if (nowMs - admitted.turnedMs < RecentlyAdmitted::kForgetMs)
        return;
    admitted.older = admitted.recent;
    admitted.recent = {};
    admitted.turnedMs = nowMs;
}

bool isFull(SwitchPort& port, u64 (*nowMs)()) {
    if (countOf(registeredOn(port)) < port.maxVlans)
        return false;
    turn(port.admitted, nowMs());
    return countOf(registeredOn(port)) >= port.maxVlans;
}

VlanBitmap permittedOn(const SwitchPort& port) {
    return vlanUnion(port.tagged, port.untagged);
}

}  // namespace

bool admitsAll(const SwitchPort& port) {
    return port.maxVlans == 0 && vlanIsEmpty(port.kept) &&
           permittedOn(port) == vlanRange(kFirstVlan, kLastVlan);
}

Admission admitVlan(SwitchPort& port, u32 vid, u64 (*nowMs)()) {
    const bool permitted = vlanContains(port.tagged, vid) || vlanContains(port.untagged, vid);
    if (!permitted || vlanContains(port.kept, vid))
        return Admission::NotPermitted;
    // The PVID is no VLAN that a registration adds.
    if (port.maxVlans == 0 || vid == port.pvid)
        return Admission::Admitted;
    const bool known = vlanContains(registeredOn(port), vid);
    if (!known && isFull(port, nowMs))
        return Admission::TooMany;
    if (!vlanContains(port.dynamic, vid) || vlanContains(port.adopted, vid))
        vlanInsert(port.admitted.recent, vid);
    return Admission::Admitted;
}

void keepRegistered(const SwitchPort& before, const VlanBitmap& dynamicVlans, SwitchPort& next) {
    next.admitted = before.admitted;
    const VlanBitmap lost = vlanDifference(permittedOn(before), permittedOn(next));
    next.kept = vlanIntersection(vlanIntersection(lost, next.dynamic), dynamicVlans);
    next.tagged = vlanUnion(next.tagged, next.kept);
    const VlanBitmap newly = vlanDifference(next.kept, before.kept);
    if (!vlanIsEmpty(newly))
        logMessage(LogPriority::Notice,
                   "%s: VLANs %s are not permitted any more and registered: they stay until they "
                   "are withdrawn",
                   next.name.data(), formatVlanRanges(newly).c_str());
    const u32 registered = countOf(registeredOn(next));
    if (next.maxVlans != before.maxVlans && next.maxVlans != 0 && registered > next.maxVlans)
        logMessage(LogPriority::Notice,
                   "%s: %u VLANs are registered and %u may be (max-vlans): they stay until they "
                   "are withdrawn",
                   next.name.data(), registered, next.maxVlans);
}

}  // namespace platform
