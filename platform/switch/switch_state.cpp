// SPDX-License-Identifier: MIT
#include "platform/switch/switch_state.h"

#include <algorithm>
#include <utility>

#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

void reportVlans(const SwitchState& before, const SwitchState& after, RouteBatch& batch) {
    const VlanBitmap old = before.vlans();
    const VlanBitmap now = after.vlans();
    vlanForEach(vlanDifference(old, now),
                [&](u32 vid) { batch.linkDeleted(kVlanInterfaceBase + vid); });
    vlanForEach(vlanDifference(now, old),
                [&](u32 vid) { batch.linkCreated(kVlanInterfaceBase + vid); });
    vlanForEach(vlanIntersection(now, old), [&](u32 vid) {
        if (before.kinds[vid] != after.kinds[vid]) {
            batch.vlanTypeChanged(vid, after.kinds[vid]);
        }
    });
}

void reportPresence(const SwitchState& before, const SwitchState& after, RouteBatch& batch) {
    for (const SwitchPort& port : before.ports)
        if (after.find(port.unit) == nullptr)
            batch.linkDeleted(port.unit);
    for (const SwitchPort& port : after.ports)
        if (before.find(port.unit) == nullptr)
            batch.linkCreated(port.unit);
}

/// Members are reported for VLANs that were there all along: a VLAN that was just created asks for
/// its members itself.
void reportMembers(const SwitchPort& old, const SwitchPort& now, const VlanBitmap& stableVlans,
                   RouteBatch& batch) {
    if (old.tagged == now.tagged && old.untagged == now.untagged)
        return;
    const VlanBitmap hadAll = vlanIntersection(vlanUnion(old.tagged, old.untagged), stableVlans);
    const VlanBitmap hasAll = vlanIntersection(vlanUnion(now.tagged, now.untagged), stableVlans);
    vlanForEach(vlanDifference(hadAll, hasAll),
                [&](u32 vid) { batch.memberRemoved(vid, now.unit); });
    vlanForEach(vlanDifference(hasAll, hadAll), [&](u32 vid) { batch.memberAdded(vid, now.unit); });
}

/// Leaving the protocol: joining an aggregation has a message of its own.
void reportEligibility(const SwitchState& before, const SwitchPort& old, const SwitchState& after,
                       const SwitchPort& now, RouteBatch& batch) {
    if (now.aggregation != 0 && now.aggregation != old.aggregation)
        batch.joinedAggregation(now.unit, now.aggregation);
    else if (before.eligible(old) != after.eligible(now))
        batch.eligible(now.unit, after.eligible(now));
}

/// A link that comes back is reported as down and then up once more: down arms the timers of a port
/// whose timers ran out while it was without a link, so its declarations go out again by
/// themselves.
void reportLink(u32 unit, bool wasUp, bool isUp, RouteBatch& batch) {
    if (wasUp == isUp)
        return;
    batch.linkState(unit, false);
    if (isUp)
        batch.linkState(unit, true);
}

}  // namespace

const SwitchPort* SwitchState::find(u32 unit) const {
    // Where units count from 1 a port stands at its number.
    if (unit - 1 < ports.size() && ports[unit - 1].unit == unit)
        return &ports[unit - 1];
    const auto found = std::ranges::lower_bound(ports, unit, {}, &SwitchPort::unit);
    return found != ports.end() && found->unit == unit ? &*found : nullptr;
}

SwitchPort* SwitchState::find(u32 unit) {
    return const_cast<SwitchPort*>(std::as_const(*this).find(unit));
}

VlanBitmap SwitchState::vlans() const {
    return vlanUnion(vlans(QorVlanType::Static), vlans(QorVlanType::Dynamic));
}

VlanBitmap SwitchState::vlans(QorVlanType type) const {
    VlanBitmap set{};
    for (u32 vid = kFirstVlan; vid <= kLastVlan; ++vid)
        if (kinds[vid] == static_cast<u8>(type))
            vlanInsert(set, vid);
    return set;
}

bool SwitchState::linkUp(const SwitchPort& port) const {
    if (!port.isUp() || port.endType != QorEndType::Aggregation)
        return port.isUp();
    bool hasMembers = false;
    for (const SwitchPort& member : ports) {
        if (member.aggregation == port.unit) {
            if (member.isUp())
                return true;
            hasMembers = true;
        }
    }
    return !hasMembers;
}

bool SwitchState::allExist(const VlanBitmap& vlans) const {
    bool all = true;
    vlanForEach(vlans, [this, &all](u32 vid) { all = all && vlanExists(vid); });
    return all;
}

VlanBitmap SwitchState::withoutMembers(const VlanBitmap& among) const {
    // A batch is a few bytes of the bitmap, and only these are looked at in each port.
    VlanBitmap result{};
    vlanForEach(among, [this, &result](u32 vid) {
        if (vid < kinds.size() && kinds[vid] == static_cast<u8>(QorVlanType::Dynamic))
            vlanInsert(result, vid);
    });
    const VlanByteRange bytes = vlanBytes(result);
    for (const SwitchPort& port : ports)
        for (std::size_t i = bytes.begin; i < bytes.end; ++i)
            result[i] = static_cast<u8>(result[i] & ~port.dynamic[i]);
    return result;
}

void SwitchState::eraseVlans(const VlanBitmap& vlans) {
    vlanForEach(vlans, [this](u32 vid) { kinds[vid] = 0; });
    const VlanByteRange bytes = vlanBytes(vlans);
    for (SwitchPort& port : ports) {
        for (std::size_t i = bytes.begin; i < bytes.end; ++i) {
            port.dynamic[i] = static_cast<u8>(port.dynamic[i] & ~vlans[i]);
            port.adopted[i] = static_cast<u8>(port.adopted[i] & ~vlans[i]);
        }
    }
}

void reportDifferences(const SwitchState& before, const SwitchState& after, RouteBatch& batch) {
    reportPresence(before, after, batch);
    reportVlans(before, after, batch);
    const VlanBitmap stableVlans = vlanIntersection(before.vlans(), after.vlans());
    for (const SwitchPort& now : after.ports) {
        const SwitchPort* old = before.find(now.unit);
        if (old == nullptr)
            continue;
        reportEligibility(before, *old, after, now, batch);
        reportMembers(*old, now, stableVlans, batch);
        reportLink(now.unit, before.linkUp(*old), after.linkUp(now), batch);
    }
}

}  // namespace platform
