// SPDX-License-Identifier: MIT
#include "platform/virtual/network/arrivals.h"

#include <algorithm>
#include <utility>

namespace simulation {

/// Orders those that came since the last time: without a delay they come while others are taken.
void Arrivals::Millisecond::putInOrder() {
    order.clear();
    for (; ordered < frames.size(); ++ordered)
        order.push_back({frames[ordered].to, static_cast<u32>(ordered)});
    std::sort(order.begin(), order.end());
    taken = 0;
}

void Arrivals::add(u64 atMs, Arrival&& arrival) {
    const auto [at, created] = byMs_.try_emplace(atMs);
    if (created && !room_.empty()) {
        at->second = std::move(room_.back());
        room_.pop_back();
    }
    at->second.frames.push_back(std::move(arrival));
}

Arrival Arrivals::take() {
    Millisecond& first = byMs_.begin()->second;
    if (first.taken == first.order.size())
        first.putInOrder();
    Arrival arrival = std::move(first.frames[first.order[first.taken++].number]);
    if (first.done()) {
        first.frames.clear();
        first.order.clear();
        first.taken = first.ordered = 0;
        room_.push_back(std::move(first));
        byMs_.erase(byMs_.begin());
    }
    return arrival;
}

}  // namespace simulation
