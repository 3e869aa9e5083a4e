// SPDX-License-Identifier: MIT
#include "tests/unit/linux/fake_kernel.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "platform/model/vlan_algebra.h"

namespace platform::testing {
namespace {

constexpr u32 kDefaultPvid = 1;

KernelResult failed(int error) {
    return {error, "injected"};
}

/// Every second VLAN of the set.
VlanBitmap halfOf(const VlanBitmap& vlans) {
    VlanBitmap half{};
    bool take = true;
    vlanForEach(vlans, [&](u32 vid) {
        if (take)
            vlanInsert(half, vid);
        take = !take;
    });
    return half;
}

}  // namespace

FakeKernel::FakeKernel() : ready_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

bool FakeKernel::dies(bool after) {
    if (killCall_ == 0 || killAfter_ != after || --killCall_ != 0)
        return false;
    return true;
}

KernelResult FakeKernel::readLinks(std::vector<KernelLink>& links) {
    const std::lock_guard gate(gate_);
    if (readFailures_ != 0) {
        readFailures_--;
        return failed(ENOBUFS);
    }
    links.clear();
    for (const auto& [index, link] : links_)
        links.push_back(link);
    return {};
}

KernelResult FakeKernel::readVlans(std::vector<KernelVlans>& vlans) {
    const std::lock_guard gate(gate_);
    reads++;
    vlans.clear();
    if (!bridgesLoaded_)
        return failed(EOPNOTSUPP);
    for (const auto& [index, entries] : vlans_)
        vlans.push_back(entries);
    return {};
}

KernelResult FakeKernel::changeVlans(u32 port, VlanChange change, const VlanBitmap& vlans) {
    const std::lock_guard gate(gate_);
    if (dies(false))
        throw Killed();
    requests.push_back({port, change, vlans});
    const auto link = links_.find(port);
    if (link == links_.end())
        return failed(ENODEV);
    if (!link->second.bridgePort)
        return failed(EOPNOTSUPP);
    const bool fails = failures_ != 0;
    if (apply(vlans_.at(port), change, fails ? halfOf(vlans) : vlans))
        tellVlans(port);
    if (dies(true))
        throw Killed();
    if (!fails)
        return {};
    failures_--;
    return failed(failure_);
}

KernelResult FakeKernel::setGuard(u32 port, bool on) {
    const std::lock_guard gate(gate_);
    if (guardsFail_)
        return failed(EOPNOTSUPP);
    if (!links_.contains(port))
        return failed(ENODEV);
    if (on)
        guards_.insert(port);
    else
        guards_.erase(port);
    guardChanges++;
    tellGuard(port);
    return {};
}

KernelResult FakeKernel::readGuards(std::span<const u32> ports, std::vector<u32>& guarded) {
    const std::lock_guard gate(gate_);
    guarded.clear();
    std::ranges::copy_if(ports, std::back_inserter(guarded),
                         [this](u32 port) { return this->guarded(port); });
    return {};
}

void FakeKernel::removeGuard(u32 index) {
    guards_.erase(index);
    tellGuard(index);
}

void FakeKernel::tellGuard(u32 index) {
    KernelEvent event;
    event.kind = KernelEventKind::Guard;
    event.link = links_.at(index);
    event.guarded = guarded(index);
    tell(event);
}

void FakeKernel::readEvents(std::vector<KernelEvent>& events) {
    const std::lock_guard lock(eventsMutex_);
    events.insert(events.end(), events_.begin(), events_.end());
    events_.clear();
    eventfd_t count = 0;
    eventfd_read(ready_.get(), &count);
}

void FakeKernel::tell(const KernelEvent& event) {
    const std::lock_guard lock(eventsMutex_);
    events_.push_back(event);
    eventfd_write(ready_.get(), 1);
}

void FakeKernel::loseEvents() {
    events_.clear();
    tell({KernelEventKind::Lost, {}, {}});
}

bool FakeKernel::apply(KernelVlans& entries, VlanChange change, const VlanBitmap& vlans) {
    const KernelVlans before = entries;
    if (change == VlanChange::Add) {
        entries.carried = vlanUnion(entries.carried, vlans);
        entries.untagged = vlanDifference(entries.untagged, vlans);
    } else {
        entries.carried = vlanDifference(entries.carried, vlans);
        entries.untagged = vlanDifference(entries.untagged, vlans);
    }
    if (vlanContains(vlans, entries.pvid))
        entries.pvid = 0;
    return entries != before;
}

void FakeKernel::addBridge(u32 index, const std::string& name, bool filtering) {
    bridgesLoaded_ = true;
    addLink(index, name, LinkKind::Bridge);
    links_[index].vlanFiltering = filtering;
    links_[index].defaultPvid = kDefaultPvid;
    vlans_[index] = {index, vlanRange(1, 1), vlanRange(1, 1), kDefaultPvid};
    tellLink(index);
    tellVlans(index);
}

void FakeKernel::addLink(u32 index, const std::string& name, LinkKind kind) {
    KernelLink link;
    link.index = index;
    link.kind = kind;
    link.name = name;
    link.mac = {2, 0, 0, 0, static_cast<u8>(index >> 8), static_cast<u8>(index)};
    link.mtu = 1500;
    link.adminUp = true;
    link.carrier = true;
    links_[index] = link;
    tellLink(index);
}

void FakeKernel::deleteLink(u32 index) {
    std::vector<u32> members;
    for (const auto& [member, link] : links_)
        if (link.master == index)
            members.push_back(member);
    for (const u32 member : members)
        release(member);
    if (links_.at(index).master != 0)
        release(index);
    const KernelLink gone = links_.at(index);
    links_.erase(index);
    vlans_.erase(index);
    guards_.erase(index);
    tell({KernelEventKind::LinkGone, gone, {}});
}

void FakeKernel::enslave(u32 index, u32 master) {
    KernelLink& link = links_.at(index);
    link.master = master;
    link.bridgePort = links_.at(master).kind == LinkKind::Bridge;
    link.stpState = link.bridgePort ? StpState::Forwarding : StpState::Disabled;
    tellLink(index);
    if (link.bridgePort) {
        vlans_[index] = {index, vlanRange(1, 1), vlanRange(1, 1), kDefaultPvid};
        tellVlans(index);
    }
}

void FakeKernel::release(u32 index) {
    KernelLink& link = links_.at(index);
    const bool was = link.bridgePort;
    if (was)
        tell({KernelEventKind::PortRemoved, link, {}});
    link.master = 0;
    link.bridgePort = false;
    link.stpState = StpState::Disabled;
    if (was)
        vlans_.erase(index);
    tellLink(index);
}

void FakeKernel::rename(u32 index, const std::string& name) {
    links_.at(index).name = name;
    tellLink(index);
}

void FakeKernel::setMtu(u32 index, u32 bytes) {
    links_.at(index).mtu = bytes;
    tellLink(index);
}

void FakeKernel::setFiltering(u32 bridge, bool on) {
    links_.at(bridge).vlanFiltering = on;
    tellLink(bridge);
}

void FakeKernel::setMultipleTrees(u32 bridge, bool on) {
    links_.at(bridge).multipleTrees = on;
    tellLink(bridge);
}

void FakeKernel::setUp(u32 index, bool up) {
    links_.at(index).adminUp = up;
    links_.at(index).carrier = up;
    tellLink(index);
}

void FakeKernel::setStp(u32 index, StpState state) {
    links_.at(index).stpState = state;
    tellLink(index);
}

void FakeKernel::addVlans(u32 index, const VlanBitmap& vlans) {
    if (apply(vlans_.at(index), VlanChange::Add, vlans))
        tellVlans(index);
}

void FakeKernel::addUntagged(u32 index, u32 vid, bool pvid) {
    KernelVlans& entries = vlans_.at(index);
    vlanInsert(entries.carried, vid);
    vlanInsert(entries.untagged, vid);
    if (pvid)
        entries.pvid = vid;
    tellVlans(index);
}

void FakeKernel::removeVlans(u32 index, const VlanBitmap& vlans) {
    if (apply(vlans_.at(index), VlanChange::Remove, vlans))
        tellVlans(index);
}

}  // namespace platform::testing
