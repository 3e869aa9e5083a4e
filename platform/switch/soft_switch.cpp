// SPDX-License-Identifier: MIT
#include "platform/switch/soft_switch.h"

#include <utility>

#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

void announce(const SwitchChangeRecord& record, RouteBatch& batch) {
    switch (static_cast<SwitchChangeKind>(record.kind)) {
        case SwitchChangeKind::PortReset:
            batch.portReset(record.unit);
            break;
        case SwitchChangeKind::TunnelMac:
            batch.tunnelMac(record.unit, static_cast<u8>(record.value), record.mac);
            break;
        default:
            break;
    }
}

}  // namespace

SoftSwitch::SoftSwitch(const SwitchConfig& config) : StateSwitch(softStateFrom(config), true) {}

HostStatus SoftSwitch::change(const SwitchChangeRecord& record, std::string& error) {
    const std::lock_guard serial(changeMutex_);
    RouteBatch batch;
    {
        const std::lock_guard lock(mutex_);
        SwitchState next = state_;
        const HostStatus status = applyChange(record, next, error);
        if (status != HostStatus::Ok)
            return status;
        replaceState(std::move(next), batch);
    }
    announce(record, batch);
    if (record.kind == static_cast<u32>(SwitchChangeKind::PortRepair))
        disown(record.unit, record.vlans, batch);
    deliver(batch);
    return HostStatus::Ok;
}

void SoftSwitch::reconfigure(const SwitchConfig& config) {
    replace(softStateFrom(config));
}

SwitchState SoftSwitch::snapshot() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

void SoftSwitch::restore(SwitchState before) {
    before.eraseVlans(before.vlans(QorVlanType::Dynamic));
    for (SwitchPort& port : before.ports) {
        port.mvrp = false;
        port.gvrp = false;
        port.dynamic = {};
        port.adopted = {};
        port.kept = {};
        port.admitted = {};
    }
    replace(std::move(before));
}

void SoftSwitch::replace(SwitchState next) {
    const std::lock_guard serial(changeMutex_);
    RouteBatch batch;
    {
        const std::lock_guard lock(mutex_);
        vlanForEach(state_.vlans(QorVlanType::Dynamic), [&next](u32 vid) {
            if (!next.vlanExists(vid))
                next.kinds[vid] = static_cast<u8>(QorVlanType::Dynamic);
        });
        for (SwitchPort& port : next.ports) {
            if (const SwitchPort* old = state_.find(port.unit)) {
                port.mvrp = old->mvrp;
                port.gvrp = old->gvrp;
                port.dynamic = vlanIntersection(old->dynamic, next.vlans());
                port.adopted = vlanIntersection(old->adopted, port.dynamic);
                followPolicy(*old, next.vlans(QorVlanType::Dynamic), port);
            }
        }
        replaceState(std::move(next), batch);
    }
    deliver(batch);
}

}  // namespace platform
