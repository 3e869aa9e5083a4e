// SPDX-License-Identifier: MIT
#include "network/plan/reach.h"

#include <algorithm>
#include <map>

#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

/// Places that were in one part with each other all the time.
struct Group {
    std::vector<std::string> names;
    std::vector<u32> parts;  ///< that they were in, by connection
};

std::vector<Group> groupsOf(const Network& network, const AlikeHistory& history) {
    std::map<std::vector<u32>, Group> groups;
    const Partition& first = *history.connections.front().partition;
    for (std::size_t place = 0; place < first.size(); ++place) {
        std::vector<u32> parts;
        for (const Connection& each : history.connections)
            parts.push_back((*each.partition)[place].second);
        Group& group = groups[parts];
        group.parts = parts;
        group.names.push_back(network.switches[first[place].first].name);
    }
    std::vector<Group> list;
    for (auto& [parts, group] : groups)
        list.push_back(std::move(group));
    return list;
}

/// When two groups were connected. @return nothing where that did not change
std::optional<Reach> reachOf(const std::vector<Connection>& connections, const Group& left,
                             const Group& right) {
    const auto joined = [&](std::size_t i) { return left.parts[i] == right.parts[i]; };
    const std::size_t last = connections.size() - 1;
    Reach reach;
    reach.times = 0;
    for (std::size_t i = 1; i <= last; ++i) {
        if (joined(i) == joined(i - 1))
            continue;
        if (joined(0) && !joined(i) && reach.times++ == 0)
            reach.fromMs = connections[i].ms;
        if (!joined(0) && joined(i))
            reach.fromMs = connections[i].ms;
    }
    for (std::size_t i = 1; i < last; ++i)
        if (!joined(i))
            reach.forMs += connections[i + 1].ms - connections[i].ms;
    const bool changed = reach.times != 0 || joined(0) != joined(last);
    reach.kind = joined(0) ? (joined(last) ? ReachKind::Interrupted : ReachKind::Lost)
                           : ReachKind::Connected;
    if (!changed || (!joined(0) && !joined(last)))
        return {};
    if (reach.kind == ReachKind::Lost)
        for (std::size_t i = last; i > 0 && !joined(i); --i)
            reach.fromMs = connections[i].ms;
    if (reach.kind != ReachKind::Interrupted)
        reach.forMs = 0;
    reach.left = left.names;
    reach.right = right.names;
    return reach;
}

int rankOf(const Reach& reach) {
    return reach.kind == ReachKind::Lost ? 0 : reach.kind == ReachKind::Interrupted ? 1 : 2;
}

bool isWorse(const Reach& a, const Reach& b) {
    if (rankOf(a) != rankOf(b))
        return rankOf(a) < rankOf(b);
    if (a.forMs != b.forMs)
        return a.forMs > b.forMs;
    return std::tie(a.left, a.right, a.fromMs) < std::tie(b.left, b.right, b.fromMs);
}

bool isAlike(const Reach& a, const Reach& b) {
    return std::tie(a.kind, a.left, a.right, a.fromMs, a.forMs, a.times) ==
           std::tie(b.kind, b.left, b.right, b.fromMs, b.forMs, b.times);
}

}  // namespace

std::vector<Reach> reachesOf(const Network& network, const std::vector<AlikeHistory>& histories) {
    std::vector<Reach> list;
    for (const AlikeHistory& history : histories) {
        const std::vector<Group> groups = groupsOf(network, history);
        for (std::size_t a = 0; a < groups.size(); ++a)
            for (std::size_t b = a + 1; b < groups.size(); ++b)
                if (auto reach = reachOf(history.connections, groups[a], groups[b])) {
                    reach->vlans = history.vlans;
                    list.push_back(std::move(*reach));
                }
    }
    std::ranges::stable_sort(list, isWorse);
    std::vector<Reach> merged;
    for (Reach& reach : list) {
        if (!merged.empty() && isAlike(merged.back(), reach))
            merged.back().vlans = platform::vlanUnion(merged.back().vlans, reach.vlans);
        else
            merged.push_back(std::move(reach));
    }
    return merged;
}

}  // namespace network
