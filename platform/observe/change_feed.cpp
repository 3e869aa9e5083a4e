// SPDX-License-Identifier: MIT
#include "platform/observe/change_feed.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

constexpr u64 kMachinesEveryMs = 250;
/// Reading all states takes the daemon's lock port by port: at most a twentieth of the time.
constexpr u64 kMachinesShare = 20;
constexpr u8 kDynamic = static_cast<u8>(QorVlanType::Dynamic);

VlanBitmap without(const VlanBitmap& a, const VlanBitmap& b) {
    VlanBitmap rest{};
    std::ranges::transform(a, b, rest.begin(), [](u8 x, u8 y) { return static_cast<u8>(x & ~y); });
    return rest;
}

/// Calls `take` for every VLAN of the set, ascending.
template <typename Take>
void forEachVlan(const VlanBitmap& vlans, Take take) {
    for (u32 index = 0; index < vlans.size(); ++index) {
        for (u32 vid = index * 8 + 1; vlans[index] != 0 && vid <= index * 8 + 8; ++vid)
            if (vid <= kLastVlan && vlanContains(vlans, vid))
                take(vid);
    }
}

bool alike(const MachineRecord& a, const MachineRecord& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

ChangeFeed::ChangeFeed(const SwitchDriver& driver)
    : driver_(driver), startMs_(monotonicMs()), kinds_(kLastVlan + 1) {}

void ChangeFeed::add(ChangeKind kind, u32 unit, u32 firstVid, u32 lastVid) {
    ring_.add({0, 0, static_cast<u32>(kind), unit, firstVid, lastVid, {}, {}, {}});
}

void ChangeFeed::addRuns(ChangeKind kind, u32 unit, const VlanBitmap& vlans) {
    u32 first = 0;
    forEachVlan(vlans, [&](u32 vid) {
        if (first == 0)
            first = vid;
        if (vid == kLastVlan || !vlanContains(vlans, vid + 1)) {
            add(kind, unit, first, vid);
            first = 0;
        }
    });
}

void ChangeFeed::compareMembers(u32 unit, KnownPort& known) {
    VlanBitmap now{};
    driver_.portVlans(unit, VlanSet::Dynamic, now);
    if (now == known.members)
        return;
    addRuns(ChangeKind::MemberRemoved, unit, without(known.members, now));
    addRuns(ChangeKind::MemberAdded, unit, without(now, known.members));
    noteSince(unit, without(now, known.members));
    known.members = now;
    memberChanges_++;
    if (news_ != nullptr)
        news_->tell();
}

u32 ChangeFeed::secondsNow() const {
    return static_cast<u32>((monotonicMs() - startMs_) / kMsPerSecond) + 1;
}

void ChangeFeed::noteSince(u32 unit, const VlanBitmap& vlans) {
    const auto times = memberSince_.find(unit);
    if (times == memberSince_.end())
        return;
    const u32 now = secondsNow();
    forEachVlan(vlans, [&](u32 vid) { times->second[vid] = now; });
}

std::vector<VlanTimeRun> ChangeFeed::membersSince(u32 unit) {
    const std::lock_guard lock(mutex_);
    std::vector<VlanTimeRun> runs;
    const auto times = memberSince_.find(unit);
    if (times == memberSince_.end())
        return runs;
    const u32 now = secondsNow();
    forEachVlan(ports_[unit].members, [&](u32 vid) {
        const u32 since = times->second[vid];
        if (since != 0)
            addVlanTime(runs, vid, now - since);
    });
    return runs;
}

void ChangeFeed::switchCalled(SwitchCall call, u32 unit, const VlanBitmap& vlans, bool done) {
    const std::lock_guard lock(mutex_);
    switch (call) {
        case SwitchCall::Protocol:
            // Room for the times, which is not to be asked for while memberships are made.
            memberSince_[unit].resize(kLastVlan + 1);
            break;
        case SwitchCall::AddMembers:
            if (!done)
                addRuns(ChangeKind::MemberRefused, unit, vlans);
            compareMembers(unit, ports_[unit]);
            break;
        case SwitchCall::RemoveMembers:
            compareMembers(unit, ports_[unit]);
            break;
        case SwitchCall::CreateVlans:
        case SwitchCall::DeleteVlans:
            forEachVlan(vlans, [this](u32 vid) { compareVlan(vid); });
            addVlans();
            break;
    }
}

void ChangeFeed::compareVlan(u32 vid) {
    const std::optional<QorVlanType> type = driver_.vlanType(vid);
    const u8 now = type ? static_cast<u8>(*type) : u8{0};
    const u8 before = kinds_[vid];
    if (now == before)
        return;
    kinds_[vid] = now;
    if (before != 0)
        vlanInsert(before == kDynamic ? vlans_.learntGone : vlans_.staticGone, vid);
    if (now != 0)
        vlanInsert(now == kDynamic ? vlans_.learnt : vlans_.isStatic, vid);
}

void ChangeFeed::addVlans() {
    addRuns(ChangeKind::VlanLearntGone, 0, vlans_.learntGone);
    addRuns(ChangeKind::VlanStaticGone, 0, vlans_.staticGone);
    addRuns(ChangeKind::VlanLearnt, 0, vlans_.learnt);
    addRuns(ChangeKind::VlanStatic, 0, vlans_.isStatic);
    vlans_ = {};
}

void ChangeFeed::compareVlans() {
    for (u32 vid = kFirstVlan; vid <= kLastVlan; ++vid)
        compareVlan(vid);
    addVlans();
}

void ChangeFeed::comparePort(const PortSummary& port) {
    const bool isNew = !ports_.contains(port.unit);
    KnownPort& known = ports_[port.unit];
    if (isNew)
        add(ChangeKind::PortAdded, port.unit);
    if (known.linkUp != port.state.linkUp)
        add(port.state.linkUp ? ChangeKind::LinkUp : ChangeKind::LinkDown, port.unit);
    const bool takesPart = port.mvrp || port.gvrp;
    if (known.takesPart != takesPart)
        add(takesPart ? ChangeKind::ProtocolOn : ChangeKind::ProtocolOff, port.unit);
    known.linkUp = port.state.linkUp;
    known.takesPart = takesPart;
    compareMembers(port.unit, known);
}

void ChangeFeed::comparePorts() {
    const std::vector<PortSummary> now =
        driver_.listPorts(0, std::numeric_limits<std::size_t>::max());
    for (auto known = ports_.begin(); known != ports_.end();) {
        const u32 unit = known->first;
        if (std::ranges::find(now, unit, &PortSummary::unit) != now.end()) {
            ++known;
            continue;
        }
        add(ChangeKind::PortRemoved, unit);
        memberSince_.erase(unit);
        known = ports_.erase(known);
    }
    for (const PortSummary& port : now)
        comparePort(port);
}

void ChangeFeed::addMachines(u32 unit, const std::vector<MachineRecord>& before,
                             const std::vector<MachineRecord>& after) {
    for (u32 vid = kFirstVlan; vid <= kLastVlan; ++vid) {
        const MachineRecord& old = before[vid - 1];
        const MachineRecord& now = after[vid - 1];
        if (alike(old, now))
            continue;
        const u32 first = vid;
        while (vid < kLastVlan && alike(before[vid], old) && alike(after[vid], now))
            ++vid;
        ring_.add({0, 0, static_cast<u32>(ChangeKind::Machine), unit, first, vid, old, now, {}});
    }
}

void ChangeFeed::compareMachines() {
    const u64 startMs = monotonicMs();
    if (!readMachines_ || startMs < nextMachinesMs_)
        return;
    for (const PortSummary& port : driver_.listPorts(0, std::numeric_limits<std::size_t>::max())) {
        scratch_.clear();
        const bool runs = readMachines_(port.unit, scratch_);
        const std::lock_guard lock(mutex_);
        const auto known = ports_.find(port.unit);
        if (known == ports_.end())
            continue;
        std::vector<MachineRecord>& before = known->second.machines;
        if (!runs)
            scratch_.clear();
        before.resize(std::max(before.size(), scratch_.size()));
        scratch_.resize(before.size());
        if (!before.empty())
            addMachines(port.unit, before, scratch_);
        before.swap(scratch_);
    }
    const u64 tookMs = monotonicMs() - startMs;
    nextMachinesMs_ = startMs + std::max(kMachinesEveryMs, tookMs * kMachinesShare);
}

bool ChangeFeed::portsNow(u64& asOf, std::vector<PortNow>& ports) {
    const SwitchFacts* facts = driver_.facts();
    const u64 ofSwitch = facts == nullptr ? 0 : facts->changes.load(std::memory_order_acquire);
    const std::lock_guard lock(mutex_);
    if (facts != nullptr && asOf == (memberChanges_ << 32U | ofSwitch))
        return false;
    comparePorts();
    asOf = memberChanges_ << 32U | ofSwitch;
    ports.clear();
    for (const auto& [unit, port] : ports_)
        ports.push_back({unit, port.linkUp, port.takesPart, port.members});
    return true;
}

void ChangeFeed::changes(const ChangesQuery& query, std::vector<u8>& reply) {
    {
        const std::lock_guard lock(mutex_);
        comparePorts();
        compareVlans();
    }
    if (query.machines != 0)
        compareMachines();
    const std::lock_guard lock(mutex_);
    ring_.read(query.since, reply);
}

}  // namespace platform
