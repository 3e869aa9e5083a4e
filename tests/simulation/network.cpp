// SPDX-License-Identifier: MIT
#include "tests/simulation/network.h"

#include <algorithm>

#include "platform/wire/frame.h"

namespace simulation {
namespace {

/// Frames and timers of one run after which it is taken to have no end.
constexpr u64 kMostHappenings = 5'000'000;

bool isEnd(const PortEnd& end, u32 node, u32 unit) {
    return end.node == node && end.unit == unit;
}

u8 pduOffsetOf(bool gvrp) {
    return static_cast<u8>(gvrp ? platform::kGvrpHeaderBytes : platform::kNativeHeaderBytes);
}

}  // namespace

Node& Network::addNode() {
    nodes_.push_back(std::make_unique<Node>(static_cast<u32>(nodes_.size())));
    return *nodes_.back();
}

void Network::addCable(PortEnd a, PortEnd b, u32 delayMs) {
    cables_.push_back({a, b, delayMs, true, {}});
}

void Network::transmit(u32 index) {
    nodes_[index]->acted = true;
    std::vector<SentFrame> sent;
    sent.swap(nodes_[index]->sent);
    for (const SentFrame& frame : sent) {
        for (u32 cable = 0; cable < cables_.size(); cable++) {
            if (isEnd(cables_[cable].a, index, frame.unit))
                carry(cable, cables_[cable].b, frame);
            else if (isEnd(cables_[cable].b, index, frame.unit))
                carry(cable, cables_[cable].a, frame);
        }
    }
}

void Network::carry(u32 cable, PortEnd to, const SentFrame& frame) {
    const Cable& way = cables_[cable];
    if (!way.up || random_.percent(way.faults.loss))
        return;
    const u32 copies = random_.percent(way.faults.duplicate) ? 2 : 1;
    for (u32 copy = 0; copy < copies; copy++) {
        Arrival arrival{nowMs_ + way.delayMs, sequence_++, to, cable, frame.gvrp, frame.bytes};
        if (random_.percent(way.faults.reorder))
            arrival.atMs += random_.below(kMostReorderMs);
        const u32 header = pduOffsetOf(frame.gvrp);
        if (random_.percent(way.faults.corrupt) && arrival.bytes.size() > header) {
            const u32 at = header + random_.below(static_cast<u32>(arrival.bytes.size()) - header);
            arrival.bytes[at] = static_cast<u8>(random_.next());
        }
        arrivals_.push(std::move(arrival));
    }
}

void Network::deliver(const Arrival& arrival) {
    if (!cables_[arrival.cable].up)
        return;
    act(arrival.to.node, [this, &arrival] {
        auto& host = nodes_[arrival.to.node]->host;
        host.sockets.frames[arrival.gvrp ? 1 : 0].push_back({arrival.bytes, arrival.to.unit,
                                                             pduOffsetOf(arrival.gvrp),
                                                             platform::kMvrpGroupAddress});
    });
}

/// Runs what comes next, unless that is later than `endMs`. A frame goes before a timer.
bool Network::runNext(u64 endMs) {
    const auto earlier = [](const auto& a, const auto& b) {
        return a->dueMs.value_or(UINT64_MAX) < b->dueMs.value_or(UINT64_MAX);
    };
    const auto timer = std::min_element(nodes_.begin(), nodes_.end(), earlier);
    const u64 timerMs = timer == nodes_.end() ? UINT64_MAX : (*timer)->dueMs.value_or(UINT64_MAX);
    const u64 frameMs = arrivals_.empty() ? UINT64_MAX : arrivals_.top().atMs;
    if (std::min(timerMs, frameMs) > endMs)
        return false;
    nowMs_ = std::max(nowMs_, std::min(timerMs, frameMs));
    if (frameMs <= timerMs) {
        const Arrival arrival = arrivals_.top();
        arrivals_.pop();
        deliver(arrival);
        return true;
    }
    const u32 index = (*timer)->index;
    {
        Turn turn(**timer, nowMs_);
        turn.runTimers();
    }
    transmit(index);
    return true;
}

bool Network::run(u64 ms) {
    const u64 endMs = nowMs_ + ms;
    for (u64 count = 0; runNext(endMs); count++)
        if (count > kMostHappenings)
            return false;
    nowMs_ = endMs;
    return true;
}

}  // namespace simulation
