// SPDX-License-Identifier: MIT
#include "network/explain/way.h"

#include <algorithm>
#include <limits>
#include <queue>

#include "network/check/spread.h"
#include "network/explain/port_words.h"

namespace network {

namespace {

using platform::vlanContains;

constexpr std::size_t kNobody = std::numeric_limits<std::size_t>::max();
/// A cable that does not carry the VLAN is worth a way around of so many that do.
constexpr std::size_t kBrokenCost = 1000;

struct Step {
    std::size_t cost = kNobody;
    std::size_t cable = kNobody;  ///< by which the switch is reached
};

/// From a switch to all others, the cheapest way each (Dijkstra).
std::vector<Step> stepsFrom(const Network& network, const Spread& spread, u32 vid,
                            std::size_t start) {
    std::vector<std::vector<std::size_t>> cables(network.switches.size());
    for (std::size_t i = 0; i < network.cables.size(); ++i) {
        cables[network.cables[i].a.of].push_back(i);
        cables[network.cables[i].b.of].push_back(i);
    }
    std::vector<Step> steps(network.switches.size());
    steps[start].cost = 0;
    using Ahead = std::pair<std::size_t, std::size_t>;  // cost, switch
    std::priority_queue<Ahead, std::vector<Ahead>, std::greater<>> ahead;
    ahead.emplace(0, start);
    while (!ahead.empty()) {
        const auto [cost, here] = ahead.top();
        ahead.pop();
        if (cost != steps[here].cost)
            continue;
        for (const std::size_t i : cables[here]) {
            const Cable& cable = network.cables[i];
            const std::size_t there = cable.a.of == here ? cable.b.of : cable.a.of;
            const std::size_t next =
                cost + (vlanContains(spread.carried[i], vid) ? 1 : kBrokenCost);
            if (next < steps[there].cost) {
                steps[there] = {next, i};
                ahead.emplace(next, there);
            }
        }
    }
    return steps;
}

Hop hopOf(const Network& network, const Spread& spread, std::size_t cable, std::size_t to,
          u32 vid) {
    const Cable& over = network.cables[cable];
    Hop hop;
    hop.from = over.a.of == to ? over.b : over.a;
    hop.to = over.a.of == to ? over.a : over.b;
    hop.carries = vlanContains(spread.carried[cable], vid);
    if (hop.carries)
        return hop;
    for (const auto& [from, there] : {std::pair(hop.from, hop.to), std::pair(hop.to, hop.from)}) {
        if (hop.stopped || !vlanContains(offeredAt(network, from), vid))
            continue;
        hop.stopped = hindranceOf({network, from, there}, vid);
        if (!hop.stopped)
            continue;
        const PortWords words = explainPort(network, there, vid);
        hop.wordsAt = there;
        hop.words = words.why;
        hop.advice = words.advice;
    }
    return hop;
}

Way wayOf(const Network& network, const Spread& spread, u32 vid, std::size_t from, std::size_t to) {
    Way way{network.switches[from].name, network.switches[to].name, false, {}};
    const std::vector<Step> steps = stepsFrom(network, spread, vid, from);
    if (steps[to].cost == kNobody)
        return way;
    for (std::size_t here = to; here != from;) {
        const Hop hop = hopOf(network, spread, steps[here].cable, here, vid);
        here = hop.from.of;
        way.hops.push_back(hop);
    }
    std::ranges::reverse(way.hops);
    way.whole = std::ranges::all_of(way.hops, &Hop::carries);
    return way;
}

std::size_t find(const Network& network, const std::string& name) {
    const auto found = std::ranges::find(network.switches, name, &Switch::name);
    return found == network.switches.end()
               ? kNobody
               : static_cast<std::size_t>(found - network.switches.begin());
}

}  // namespace

std::vector<std::string> wantedOn(const Network& network, u32 vid) {
    const Spread spread = spreadOf(network);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < network.switches.size(); ++i)
        if (vlanContains(spread.wanted[i], vid))
            names.push_back(network.switches[i].name);
    return names;
}

std::vector<Way> waysOf(const Network& network, u32 vid, const std::string& from,
                        const std::string& to) {
    const Spread spread = spreadOf(network);
    if (!from.empty())
        return {wayOf(network, spread, vid, find(network, from), find(network, to))};
    std::vector<Way> ways;
    const std::vector<std::string> wanted = wantedOn(network, vid);
    for (std::size_t i = 1; i < wanted.size(); ++i)
        ways.push_back(
            wayOf(network, spread, vid, find(network, wanted[0]), find(network, wanted[i])));
    return ways;
}

}  // namespace network
