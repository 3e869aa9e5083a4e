// SPDX-License-Identifier: MIT
#include "platform/switch/state_switch.h"

#include <algorithm>
#include <utility>

#include "platform/model/vlan_algebra.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

/// Deleted ports whose index can still be described: more than the daemon can be behind with.
constexpr std::size_t kMostRetired = 1024;

/// To the daemon it is as if every link came back: it declares again all that it has to declare,
/// which went nowhere while this was a standby.
void reportReturn(const SwitchState& state, RouteBatch& batch) {
    for (const SwitchPort& port : state.ports) {
        if (state.linkUp(port)) {
            batch.linkState(port.unit, false);
            batch.linkState(port.unit, true);
        }
    }
}

}  // namespace

StateSwitch::StateSwitch(SwitchState state, bool forwards)
    : state_(std::move(state)), forwards_(forwards), everExisted_(state_.vlans()) {
    noteState();
}

void StateSwitch::noteState() {
    aggregated_ = std::ranges::any_of(state_.ports,
                                      [](const SwitchPort& port) { return port.aggregation != 0; });
    page_.noteVlans(state_);
    page_.notePorts(state_.ports);
    countChange();
}

bool StateSwitch::portState(u32 unit, PortState& state) const {
    const std::lock_guard lock(mutex_);
    const SwitchPort* port = state_.find(unit);
    if (port == nullptr)
        return false;
    state = {state_.linkUp(*port), state_.eligible(*port), port->mtu, port->pvid, port->mac};
    return true;
}

bool StateSwitch::portName(u32 unit, std::string& name) const {
    const std::lock_guard lock(mutex_);
    const SwitchPort* port = state_.find(unit);
    if (port == nullptr)
        return false;
    name = port->name.data();
    return true;
}

bool StateSwitch::portVlans(u32 unit, VlanSet which, VlanBitmap& vlans) const {
    const std::lock_guard lock(mutex_);
    const SwitchPort* port = state_.find(unit);
    if (port == nullptr)
        return false;
    switch (which) {
        case VlanSet::Permitted:
            vlans = vlanUnion(port->tagged, port->untagged);
            return true;
        case VlanSet::PermittedTagged:
            vlans = port->tagged;
            return true;
        case VlanSet::Untagged:
            vlans = port->untagged;
            return true;
        case VlanSet::Dynamic:
            vlans = port->dynamic;
            return true;
    }
    return false;
}

bool StateSwitch::permits(u32 unit, u32 vid) const {
    const std::lock_guard lock(mutex_);
    const SwitchPort* port = state_.find(unit);
    return port != nullptr &&
           (vlanContains(port->tagged, vid) || vlanContains(port->untagged, vid));
}

Admission StateSwitch::admit(u32 unit, u32 vid) {
    const std::lock_guard lock(mutex_);
    SwitchPort* port = state_.find(unit);
    return port == nullptr ? Admission::NotPermitted : admitVlan(*port, vid, monotonicMs);
}

bool StateSwitch::setProtocol(u32 unit, u32 protocol, bool enabled) {
    const std::lock_guard lock(mutex_);
    SwitchPort* port = state_.find(unit);
    if (protocol != kProtocolMvrp && protocol != kProtocolGvrp)
        return false;
    if (port == nullptr) {
        // A deleted port runs nothing any more, and the daemon only now hears of that.
        return !enabled && isRetired(unit);
    }
    (protocol == kProtocolMvrp ? port->mvrp : port->gvrp) = enabled;
    if (!enabled)
        port->admitted = {};
    countChange();
    return true;
}

bool StateSwitch::addDynamic(u32 unit, const VlanBitmap& vlans) {
    const std::lock_guard lock(mutex_);
    SwitchPort* port = state_.find(unit);
    if (port == nullptr || !state_.allExist(vlans))
        return false;
    port->dynamic = vlanUnion(port->dynamic, vlans);
    port->adopted = vlanDifference(port->adopted, vlans);
    port->admitted.applied(vlans);
    return true;
}

bool StateSwitch::removeDynamic(u32 unit, const VlanBitmap& vlans) {
    const std::lock_guard lock(mutex_);
    SwitchPort* port = state_.find(unit);
    if (port == nullptr) {
        // A deleted port took its memberships with it, and the daemon only now hears of that.
        return isRetired(unit);
    }
    const bool runsProtocol = port->mvrp && role_ == HostRole::Active;
    port->dynamic = runsProtocol ? vlanDifference(port->dynamic, vlans) : VlanBitmap{};
    port->adopted = vlanIntersection(port->adopted, port->dynamic);
    // What the policy bars now stayed for as long as it was registered.
    const VlanBitmap ended = vlanDifference(port->kept, port->dynamic);
    port->kept = vlanDifference(port->kept, ended);
    port->tagged = vlanDifference(port->tagged, ended);
    if (!vlanIsEmpty(ended)) {
        page_.notePort(*port);
        countChange();
    }
    return true;
}

std::optional<QorVlanType> StateSwitch::vlanType(u32 vid) const {
    const u32 kind = page_.typeOf(vid);
    return kind == 0 ? std::nullopt : std::optional(static_cast<QorVlanType>(kind));
}

bool StateSwitch::createDynamic(const VlanBitmap& vlans) {
    if (!vlanIsValid(vlans))
        return false;
    const std::lock_guard lock(mutex_);
    VlanBitmap created{};
    vlanForEach(vlans, [this, &created](u32 vid) {
        if (state_.vlanExists(vid))
            return;
        state_.kinds[vid] = static_cast<u8>(QorVlanType::Dynamic);
        vlanInsert(created, vid);
    });
    page_.noteCreated(created);
    everExisted_ = vlanUnion(everExisted_, vlans);
    return true;
}

bool StateSwitch::deleteDynamic(const VlanBitmap& vlans) {
    if (vlans == VlanBitmap{})
        return true;  // as most often: whatever was removed, another port needs it
    const std::lock_guard lock(mutex_);
    const VlanBitmap erased = state_.withoutMembers(vlans);
    state_.eraseVlans(erased);
    page_.noteErased(erased);
    return true;
}

bool StateSwitch::describeIndex(u32 index, QorIndexInfo& info) const {
    const std::lock_guard lock(mutex_);
    QorIndexInfo found{};
    if (const SwitchPort* port = state_.find(index)) {
        found.endType = static_cast<u32>(port->endType);
    } else if (index > kVlanInterfaceBase &&
               vlanContains(everExisted_, index - kVlanInterfaceBase)) {
        found.endType = static_cast<u32>(QorEndType::Vlan);
        found.vid = index - kVlanInterfaceBase;
    } else {
        const auto retired = std::ranges::find(retired_, index, &Retired::unit);
        if (retired == retired_.end())
            return false;
        found.endType = static_cast<u32>(retired->endType);
    }
    info = found;
    return true;
}

void StateSwitch::setRole(HostRole role) {
    const std::lock_guard serial(changeMutex_);
    RouteBatch batch;
    {
        const std::lock_guard lock(mutex_);
        if (role_ == HostRole::Standby && role == HostRole::Active) {
            adoptLocked();
            reportReturn(state_, batch);
            for (const SwitchPort& port : state_.ports)
                if (state_.linkUp(port))
                    noteCameUp(port.unit);
        }
        role_ = role;
        countChange();
    }
    deliver(batch);
    stateChanged();
}

void StateSwitch::adoptMemberships() {
    const std::lock_guard lock(mutex_);
    adoptLocked();
}

void StateSwitch::adoptLocked() {
    for (SwitchPort& port : state_.ports)
        port.adopted = port.dynamic;
}

u32 StateSwitch::removeUnclaimed() {
    const std::lock_guard serial(changeMutex_);
    RouteBatch batch;
    u32 removed = 0;
    {
        const std::lock_guard lock(mutex_);
        SwitchState next = state_;
        VlanBitmap orphans{};
        for (SwitchPort& port : next.ports) {
            orphans = vlanUnion(orphans, port.adopted);
            vlanForEach(port.adopted, [&removed](u32) { ++removed; });
            port.dynamic = vlanDifference(port.dynamic, port.adopted);
            port.adopted = {};
        }
        next.eraseVlans(next.withoutMembers(orphans));
        replaceState(std::move(next), batch);
    }
    deliver(batch);
    stateChanged();
    return removed;
}

bool StateSwitch::isRetired(u32 unit) const {
    return std::ranges::find(retired_, unit, &Retired::unit) != retired_.end();
}

FramePolicy StateSwitch::framePolicy(u32 port) const {
    const std::lock_guard lock(mutex_);
    FramePolicy policy;
    const SwitchPort* own = state_.find(port);
    if (own == nullptr)
        return policy;
    const SwitchPort* aggregation = own->aggregation == 0 ? nullptr : state_.find(own->aggregation);
    const SwitchPort& counted = aggregation == nullptr ? *own : *aggregation;
    policy.unit = counted.unit;
    policy.forwarded = forwards_;
    policy.active = role_ == HostRole::Active;
    policy.linkUp = own->isUp() && counted.isUp();
    policy.mvrp = counted.mvrp;
    policy.gvrp = counted.gvrp;
    return policy;
}

u32 StateSwitch::egressPort(u32 unit) const {
    const std::lock_guard lock(mutex_);
    const SwitchPort* port = state_.find(unit);
    if (port == nullptr || !port->isUp())
        return 0;
    if (!aggregated_)
        return unit;
    bool hasMembers = false;
    for (const SwitchPort& member : state_.ports) {
        if (member.aggregation == unit) {
            if (member.isUp())
                return member.unit;
            hasMembers = true;
        }
    }
    return hasMembers ? 0 : unit;
}

std::vector<PortSummary> StateSwitch::listPorts(u32 unit, std::size_t limit) const {
    const std::lock_guard lock(mutex_);
    std::vector<PortSummary> list;
    auto port = std::ranges::upper_bound(state_.ports, unit, {}, &SwitchPort::unit);
    for (; port != state_.ports.end() && list.size() < limit; ++port) {
        list.push_back(
            {port->unit,
             port->endType,
             {state_.linkUp(*port), state_.eligible(*port), port->mtu, port->pvid, port->mac},
             port->mvrp,
             port->gvrp,
             port->aggregation,
             port->name.data(),
             port->guardLost,
             port->guardDisputedUntilMs,
             port->maxVlans});
    }
    return list;
}

void StateSwitch::disown(u32 unit, const VlanBitmap& vlans, RouteBatch& batch) const {
    vlanForEach(vlans, [&](u32 vid) {
        if (vlanType(vid) != QorVlanType::Static)
            batch.memberRemoved(vid, unit);
    });
}

void StateSwitch::deliver(const RouteBatch& batch) {
    if (sink_ != nullptr)
        batch.deliverTo(*sink_);
    for (const u32 unit : newlyUp_)
        if (cameUp_)
            cameUp_(unit);
    newlyUp_.clear();
}

void StateSwitch::hold(u32 unit, bool held) {
    const std::lock_guard serial(changeMutex_);
    RouteBatch batch;
    {
        const std::lock_guard lock(mutex_);
        SwitchPort* port = state_.find(unit);
        if (port == nullptr || port->held == held)
            return;
        const SwitchState before = state_;
        port->held = held;
        reportDifferences(before, state_, batch);
        for (const SwitchPort& each : state_.ports)
            if (!before.linkUp(*before.find(each.unit)) && state_.linkUp(each))
                noteCameUp(each.unit);
        countChange();
    }
    deliver(batch);
}

void StateSwitch::replaceState(SwitchState next, RouteBatch& batch) {
    for (SwitchPort& port : next.ports)
        if (const SwitchPort* old = state_.find(port.unit))
            port.held = old->held;
    reportDifferences(state_, next, batch);
    for (const SwitchPort& port : next.ports) {
        const SwitchPort* old = state_.find(port.unit);
        if (old != nullptr && !state_.linkUp(*old) && next.linkUp(port))
            noteCameUp(port.unit);
    }
    for (const SwitchPort& port : state_.ports) {
        if (next.find(port.unit) == nullptr) {
            std::erase_if(retired_, [&port](const Retired& r) { return r.unit == port.unit; });
            retired_.push_back({port.unit, port.endType});
        }
    }
    if (retired_.size() > kMostRetired)
        retired_.erase(retired_.begin(), retired_.end() - kMostRetired);
    everExisted_ = vlanUnion(everExisted_, next.vlans());
    state_ = std::move(next);
    noteState();
}

}  // namespace platform
