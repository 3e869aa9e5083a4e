// SPDX-License-Identifier: MIT
#include "platform/virtual/network/network.h"

#include <algorithm>

#include "platform/virtual/network/standby_turn.h"
#include "platform/wire/frame.h"

namespace simulation {
namespace {

/// Frames and timers of one second of virtual time after which what happens is taken to have no
/// end: every PDU goes through the whole network, and every port sends some.
constexpr u64 kMostHappenings = 1'000'000;
constexpr u64 kMostHappeningsPerPair = 100;  // of switches
constexpr u64 kMsPerSecond = 1000;

/// By switch: the switches that are one cable away.
using Neighbours = std::vector<std::vector<u32>>;

struct Distance {
    u32 node = 0;
    u32 switches = 0;  ///< on the way there, both ends included
};

/// The switch that is farthest from `start`.
Distance farthestFrom(u32 start, const Neighbours& neighbours) {
    std::vector<u32> switches(neighbours.size(), 0);
    std::queue<u32> open({start});
    switches[start] = 1;
    Distance last;
    for (; !open.empty(); open.pop()) {
        last = {open.front(), switches[open.front()]};
        for (const u32 next : neighbours[last.node])
            if (switches[next] == 0) {
                switches[next] = last.switches + 1;
                open.push(next);
            }
    }
    return last;
}

u8 pduOffsetOf(bool gvrp) {
    return static_cast<u8>(gvrp ? platform::kGvrpHeaderBytes : platform::kNativeHeaderBytes);
}

}  // namespace

Node& Network::addNode(CorrectionSet corrections) {
    nodes_.push_back(std::make_unique<Node>(static_cast<u32>(nodes_.size()), corrections));
    return *nodes_.back();
}

Node& Network::addStandby(u32 active) {
    standbyCount_++;
    Node& standby = addNode();
    nodes_[active]->standby = standby.index;
    return standby;
}

void Network::addCable(PortEnd a, PortEnd b, u32 delayMs) {
    const auto cable = static_cast<u32>(cables_.size());
    cables_.push_back({a, b, delayMs, true, {}});
    plug(cable, a, b);
    plug(cable, b, a);
}

void Network::plug(u32 cable, PortEnd from, PortEnd to) {
    ways_.resize(std::max<std::size_t>(ways_.size(), from.node + 1));
    auto& ports = ways_[from.node];
    ports.resize(std::max<std::size_t>(ports.size(), from.unit + 1));
    ports[from.unit] = {cable, to};
}

const Network::Way* Network::wayFrom(u32 node, u32 unit) const {
    if (node >= ways_.size() || unit >= ways_[node].size())
        return nullptr;
    const Way& way = ways_[node][unit];
    return way.cable ? &way : nullptr;
}

/// The earliest timer of all switches, which stays at the top.
u64 Network::nextTimerMs() {
    while (!timers_.empty() && nodes_[timers_.top().node]->wakeMs != timers_.top().atMs)
        timers_.pop();
    return timers_.empty() ? UINT64_MAX : timers_.top().atMs;
}

/// When a switch that waits from now on runs a timer.
u64 Network::wakeFor(u64 dueMs) {
    if (lateness_.leastWaitMs == 0 && lateness_.mostMs == 0)
        return dueMs;
    const u64 waitMs = dueMs - std::min(dueMs, nowMs_);
    const u64 part = waitMs % kMsPerSecond;
    const u64 floored = waitMs - part + std::max<u64>(part, lateness_.leastWaitMs);
    const u64 late = lateness_.mostMs == 0 ? 0 : random_.below(lateness_.mostMs + 1);
    return nowMs_ + floored + late;
}

void Network::transmit(u32 index) {
    Node& node = *nodes_[index];
    node.acted = true;
    const auto before = node.wakeMs;
    node.wakeMs = node.dueMs ? std::optional(wakeFor(*node.dueMs)) : std::nullopt;
    if (node.wakeMs && node.wakeMs != before)
        timers_.push({*node.wakeMs, index});
    if (observer_)
        observer_(node);
    for (const SentFrame& frame : node.sent)
        if (const Way* way = wayFrom(index, frame.unit))
            carry(*way->cable, way->to, frame);
    node.sent.clear();
    if (!node.toStandby.empty())
        tellStandby(node);
}

void Network::tellStandby(Node& active) {
    const auto messages = std::exchange(active.toStandby, {});
    Node& standby = *nodes_[*active.standby];
    act(standby.index, [&standby, &messages] { takeFromActive(standby, messages); });
}

/// The bytes of a frame behind its addresses, which are often those of the frame before.
std::shared_ptr<const std::vector<u8>> Network::shared(std::span<const u8> rest) {
    if (lastRest_ == nullptr || !std::ranges::equal(*lastRest_, rest))
        lastRest_ = std::make_shared<const std::vector<u8>>(rest.begin(), rest.end());
    return lastRest_;
}

void Network::carry(u32 cable, PortEnd to, const SentFrame& frame) {
    const Cable& way = cables_[cable];
    if (!way.up || random_.percent(way.faults.loss))
        return;
    Arrival arrival{to, cable, frame.gvrp, {}, {}};
    const std::span<const u8> bytes = frame.bytes;
    std::ranges::copy(bytes.first(arrival.addresses.size()), arrival.addresses.begin());
    arrival.rest = shared(bytes.subspan(arrival.addresses.size()));
    const u32 copies = random_.percent(way.faults.duplicate) ? 2 : 1;
    for (u32 copy = 0; copy < copies; copy++) {
        Arrival each = arrival;
        u64 atMs = nowMs_ + way.delayMs;
        if (random_.percent(way.faults.reorder))
            atMs += random_.below(kMostReorderMs);
        const u32 header = pduOffsetOf(frame.gvrp);
        if (random_.percent(way.faults.corrupt) && bytes.size() > header) {
            const u32 at = header + random_.below(static_cast<u32>(bytes.size()) - header);
            auto rest = *arrival.rest;
            rest[at - arrival.addresses.size()] = static_cast<u8>(random_.next());
            each.rest = std::make_shared<const std::vector<u8>>(std::move(rest));
        }
        arrivals_.add(atMs, std::move(each));
    }
}

void Network::deliver(const Arrival& arrival) {
    if (!cables_[arrival.cable].up)
        return;
    std::vector<u8> bytes(arrival.addresses.size() + arrival.rest->size());
    std::ranges::copy(*arrival.rest, std::ranges::copy(arrival.addresses, bytes.begin()).out);
    act(arrival.to.node, [this, &arrival, &bytes] {
        auto& host = nodes_[arrival.to.node]->host;
        host.sockets.frames[arrival.gvrp ? 1 : 0].push_back({std::move(bytes), arrival.to.unit,
                                                             pduOffsetOf(arrival.gvrp),
                                                             platform::kMvrpGroupAddress});
    });
}

/// Runs what comes next, unless that is later than `endMs`. A frame goes before a timer.
bool Network::runNext(u64 endMs) {
    const u64 timerMs = nextTimerMs();
    const u64 frameMs = arrivals_.nextMs();
    if (std::min(timerMs, frameMs) > endMs)
        return false;
    nowMs_ = std::max(nowMs_, std::min(timerMs, frameMs));
    if (frameMs <= timerMs) {
        deliver(arrivals_.take());
        return true;
    }
    const u32 index = timers_.top().node;
    timers_.pop();
    nodes_[index]->wakeMs.reset();
    {
        Turn turn(*nodes_[index], nowMs_);
        turn.runTimers();
    }
    transmit(index);
    return true;
}

bool Network::run(u64 ms) {
    const u64 endMs = nowMs_ + ms;
    const u64 most = kMostHappenings + kMostHappeningsPerPair * nodes_.size() * nodes_.size();
    u64 second = 0;
    u64 happenings = 0;
    while (runNext(endMs)) {
        if (second != nowMs_ / kMsPerSecond) {
            second = nowMs_ / kMsPerSecond;
            happenings = 0;
        }
        if (++happenings > most)
            return false;
    }
    nowMs_ = endMs;
    return true;
}

u32 longestWay(const Network& network) {
    Neighbours neighbours(network.nodes().size());
    for (const Cable& cable : network.cables()) {
        neighbours[cable.a.node].push_back(cable.b.node);
        neighbours[cable.b.node].push_back(cable.a.node);
    }
    return farthestFrom(farthestFrom(0, neighbours).node, neighbours).switches;
}

}  // namespace simulation
