// SPDX-License-Identifier: MIT
#include "platform/virtual/network/arrivals.h"

#include <utility>

namespace simulation {

void Arrivals::add(u64 atMs, Arrival&& arrival) {
    const auto [at, created] = byMs_.try_emplace(atMs);
    if (created && !room_.empty()) {
        at->second.frames = std::move(room_.back());
        room_.pop_back();
    }
    at->second.frames.push_back(std::move(arrival));
}

Arrival Arrivals::take() {
    Millisecond& first = byMs_.begin()->second;
    Arrival arrival = std::move(first.frames[first.taken++]);
    if (first.taken == first.frames.size()) {
        first.frames.clear();
        room_.push_back(std::move(first.frames));
        byMs_.erase(byMs_.begin());
    }
    return arrival;
}

}  // namespace simulation
