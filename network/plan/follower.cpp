// SPDX-License-Identifier: MIT
#include "network/plan/follower.h"

#include <algorithm>

#include "network/check/spread.h"
#include "platform/model/vlan_algebra.h"
#include "platform/virtual/network/port_view.h"

namespace network {

namespace {

using scenario::VlanSet;
using simulation::Node;

constexpr u32 kFirstFollowed = 2;

template <typename Visit>
void forEachVlan(const VlanSet& set, Visit visit) {
    scenario::forEachMember(set, [&](std::size_t vid) {
        if (vid >= kFirstFollowed && vid <= platform::kLastVlan)
            visit(static_cast<u32>(vid));
    });
}

/// A number that is spread over 64 bits (splitmix64).
u64 mixed(u64 value) {
    return simulation::Random(value).next();
}

}  // namespace

Follower::Follower(Replica& replica)
    : replica_(replica),
      ends_(replica.source().cables.size()),
      statics_(replica.source().switches.size()),
      wanted_(replica.source().switches.size()),
      patterns_(scenario::kVlanSetLast + 1),
      history_(scenario::kVlanSetLast + 1) {
    const Network& network = replica.source();
    for (std::size_t of = 0; of < network.switches.size(); ++of)
        for (std::size_t port = 0; port < network.switches[of].ports.size(); ++port)
            slots_[{static_cast<u32>(of), network.switches[of].ports[port].number}].at = {of, port};
    for (std::size_t cable = 0; cable < network.cables.size(); ++cable) {
        std::size_t end = 0;
        for (const PortAt at : {network.cables[cable].a, network.cables[cable].b}) {
            Slot& slot = slots_[{static_cast<u32>(at.of), network.portOf(at).number}];
            ends_[cable].at(end++) = &slot;
            if (!replica.hasCable(cable))
                continue;
            slot.cable = cable;
            slot.hasCable = true;
        }
    }
    replica_.engine().setObserver([this](const Node& node) { look(node); });
}

Follower::~Follower() {
    replica_.engine().setObserver({});
}

void Follower::begin(const std::vector<VlanBitmap>& wanted) {
    lookAtAll();
    begunMs_ = replica_.engine().nowMs();
    counting_ = true;
    lastChangeMs_ = 0;
    moments_.clear();
    sent_.clear();
    std::ranges::fill(patterns_, 0);
    known_.clear();
    for (std::size_t of = 0; of < wanted_.size(); ++of) {
        wanted_[of] = scenario::vlanSetOf(wanted[of]);
        forEachVlan(wanted_[of], [&](u32 vid) { patterns_[vid] ^= mixed(2 * of); });
    }
    for (auto& [key, slot] : slots_)
        slot.carried.reset();
    for (auto& history : history_)
        history.clear();
    lookAtAll();
    for (u32 vid = kFirstFollowed; vid <= platform::kLastVlan; ++vid)
        remember(vid);
    dirty_.reset();
}

void Follower::lookAtAll() {
    for (std::size_t of = 0; of < statics_.size(); ++of)
        statics_[of] = simulation::staticVlans(replica_.engine().node(static_cast<u32>(of)));
    for (const auto& node : replica_.engine().nodes())
        look(*node);
}

void Follower::look(const Node& node) {
    settleTime();
    count(node);
    if (node.index >= statics_.size())
        return;
    for (const auto& [unit, port] : node.host.switchState.ports)
        lookAtPort(node, unit, slots_.at({node.index, unit}));
}

void Follower::lookAtPort(const Node& node, u32 unit, Slot& slot) {
    const auto& port = node.host.switchState.ports.at(unit);
    const VlanSet member = (statics_[node.index] & port.permitted) | port.dynamic;
    if (member != slot.member) {
        noteChanges((member ^ slot.member).count());
        slot.member = member;
    }
    const bool works = slot.hasCable && port.link == 1 && replica_.carries(slot.cable);
    setCarried(slot, works ? member : VlanSet());
}

/// A cable carries what both ends carry.
void Follower::setCarried(Slot& slot, const VlanSet& carried) {
    if (!slot.hasCable || carried == slot.carried)
        return;
    const auto& [a, b] = ends_[slot.cable];
    const VlanSet before = a->carried & b->carried;
    slot.carried = carried;
    const VlanSet flipped = before ^ (a->carried & b->carried);
    if (flipped.none() || !counting_)
        return;
    forEachVlan(flipped, [&](u32 vid) { patterns_[vid] ^= mixed(2 * slot.cable + 1); });
    dirty_ |= flipped;
    dirtyMs_ = nowMs();
}

void Follower::noteChanges(u64 changes) {
    if (!counting_)
        return;
    lastChangeMs_ = nowMs();
    epoch_++;
    if (moments_.empty() || moments_.back().ms != lastChangeMs_)
        moments_.push_back({lastChangeMs_, 0, 0});
    moments_.back().changes += changes;
}

void Follower::count(const Node& node) {
    if (node.sent.empty())
        return;
    for (const auto& frame : node.sent) {
        ++frames_[{node.index, frame.unit}];
        Count& sent = sent_[{node.index, frame.unit}];
        if (sent.epoch != epoch_)
            sent = {sent.quiet + sent.since, 0, epoch_};
        sent.since++;
    }
    if (!counting_)
        return;
    if (moments_.empty() || moments_.back().ms != nowMs())
        moments_.push_back({nowMs(), 0, 0});
    moments_.back().frames += node.sent.size();
}

/// What was connected when a millisecond ended is what counts of it.
void Follower::settleTime() {
    if (!counting_ || dirty_.none() || nowMs() == dirtyMs_)
        return;
    forEachVlan(dirty_, [this](u32 vid) { remember(vid); });
    dirty_.reset();
}

void Follower::remember(u32 vid) {
    auto partition = partitionOf(vid);
    auto& history = history_[vid];
    if (history.empty() || *history.back().partition != *partition)
        history.push_back({dirtyMs_, std::move(partition)});
}

std::shared_ptr<const Partition> Follower::partitionOf(u32 vid) {
    auto& known = known_[patterns_[vid]];
    if (known)
        return known;
    Parts parts(wanted_.size());
    for (std::size_t cable = 0; cable < ends_.size(); ++cable)
        if (ends_[cable][0]->carried.test(vid) && ends_[cable][1]->carried.test(vid) &&
            replica_.hasCable(cable))
            parts.join(replica_.source().cables[cable].a.of, replica_.source().cables[cable].b.of);
    Partition partition;
    std::map<std::size_t, u32> first;  // a part is called after its first place
    for (std::size_t of = 0; of < wanted_.size(); ++of)
        if (wanted_[of].test(vid)) {
            const auto place = static_cast<u32>(of);
            partition.emplace_back(place, first.try_emplace(parts.of(of), place).first->second);
        }
    known = std::make_shared<const Partition>(std::move(partition));
    return known;
}

std::vector<Moment> Follower::moments() const {
    std::vector<Moment> until = moments_;
    std::erase_if(until, [this](const Moment& each) { return each.ms > lastChangeMs_; });
    return until;
}

namespace {

std::vector<PortFrames> busiestFirst(std::vector<PortFrames> ports) {
    std::ranges::stable_sort(ports, std::greater<>(), &PortFrames::frames);
    return ports;
}

}  // namespace

std::vector<PortFrames> Follower::framesUntilQuiet() const {
    std::vector<PortFrames> ports;
    for (const auto& [key, sent] : sent_)
        if (const auto slot = slots_.find(key); slot != slots_.end())
            ports.push_back(
                {slot->second.at, sent.quiet + (sent.epoch == epoch_ ? 0 : sent.since)});
    return busiestFirst(std::move(ports));
}

std::vector<PortFrames> Follower::framesSinceCount() const {
    std::vector<PortFrames> ports;
    for (const auto& [key, frames] : frames_)
        if (const auto slot = slots_.find(key); slot != slots_.end())
            ports.push_back({slot->second.at, frames});
    return busiestFirst(std::move(ports));
}

std::vector<AlikeHistory> Follower::histories() {
    forEachVlan(dirty_, [this](u32 vid) { remember(vid); });
    dirty_.reset();
    using Past = std::vector<std::pair<u64, Partition>>;
    std::map<Past, AlikeHistory> groups;
    for (u32 vid = kFirstFollowed; vid <= platform::kLastVlan; ++vid) {
        if (history_[vid].empty() || history_[vid].front().partition->empty())
            continue;
        Past key;
        for (const Connection& each : history_[vid])
            key.emplace_back(each.ms, *each.partition);
        AlikeHistory& group = groups[std::move(key)];
        group.connections = history_[vid];
        platform::vlanInsert(group.vlans, vid);
    }
    std::vector<AlikeHistory> list;
    list.reserve(groups.size());
    for (auto& [key, group] : groups)
        list.push_back(std::move(group));
    return list;
}

}  // namespace network
