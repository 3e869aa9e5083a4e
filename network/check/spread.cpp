// SPDX-License-Identifier: MIT
#include "network/check/spread.h"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <set>

#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

using platform::vlanContains;
using platform::vlanUnion;

constexpr u32 kDefaultVlan = 1;

bool works(const Port& port) {
    return port.linkUp && !port.blocked && !port.loop && port.cableError.empty();
}

/// A number that is spread over 64 bits (splitmix64).
u64 mixed(u64 value) {
    value += 0x9E3779B97F4A7C15ULL;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBULL;
    return value ^ (value >> 31U);
}

using Patterns = std::array<u64, platform::kLastVlan + 3>;

void addTo(Patterns& patterns, const VlanBitmap& vlans, u64 place) {
    const u64 mark = mixed(place);
    platform::vlanForEach(vlans, [&](u32 vid) { patterns[vid] ^= mark; });
}

/// Of one VLAN: parts of switches that it connects.
Parts partsOf(const Network& network, const Spread& spread, u32 vid) {
    Parts parts(network.switches.size());
    for (std::size_t i = 0; i < network.cables.size(); ++i)
        if (vlanContains(spread.carried[i], vid))
            parts.join(network.cables[i].a.of, network.cables[i].b.of);
    return parts;
}

/// Which parts want a VLAN, and which cables lie between two parts.
struct Broken {
    std::set<std::size_t> wanting;
    std::map<std::size_t, std::map<std::size_t, std::vector<std::size_t>>> between;

    /// Takes away, again and again, parts that want nothing and lead to one other part only.
    void prune() {
        std::vector<std::size_t> ends;
        for (const auto& [part, others] : between)
            ends.push_back(part);
        while (!ends.empty()) {
            const std::size_t part = ends.back();
            ends.pop_back();
            const auto found = between.find(part);
            if (found == between.end() || wanting.contains(part) || found->second.size() > 1)
                continue;
            for (const auto& [other, cables] : found->second) {
                between[other].erase(part);
                ends.push_back(other);
            }
            between.erase(part);
        }
    }
};

Broken brokenOf(const Network& network, const Spread& spread, u32 vid) {
    Parts parts = partsOf(network, spread, vid);
    Broken broken;
    for (std::size_t i = 0; i < network.switches.size(); ++i)
        if (vlanContains(spread.wanted[i], vid))
            broken.wanting.insert(parts.of(i));
    if (broken.wanting.size() < 2)
        return broken;
    for (std::size_t i = 0; i < network.cables.size(); ++i) {
        const std::size_t a = parts.of(network.cables[i].a.of);
        const std::size_t b = parts.of(network.cables[i].b.of);
        if (a == b)
            continue;
        broken.between[a][b].push_back(i);
        broken.between[b][a].push_back(i);
    }
    broken.prune();
    return broken;
}

}  // namespace

Parts::Parts(std::size_t count) : above_(count) {
    std::iota(above_.begin(), above_.end(), std::size_t{0});
}

std::size_t Parts::of(std::size_t member) {
    while (above_[member] != member)
        member = above_[member] = above_[above_[member]];
    return member;
}

void Parts::join(std::size_t a, std::size_t b) {
    above_[of(a)] = of(b);
}

Spread spreadOf(const Network& network) {
    std::set<PortAt> inside;
    for (const Cable& cable : network.cables)
        inside.insert({cable.a, cable.b});
    Spread spread;
    for (std::size_t of = 0; of < network.switches.size(); ++of) {
        const Switch& each = network.switches[of];
        VlanBitmap wanted = each.staticVlans;
        for (std::size_t port = 0; port < each.ports.size(); ++port) {
            if (!inside.contains({of, port}))
                wanted = vlanUnion(wanted, each.ports[port].registered);
        }
        platform::vlanErase(wanted, kDefaultVlan);
        spread.wanted.push_back(wanted);
    }
    for (const Cable& cable : network.cables) {
        const Port& a = network.portOf(cable.a);
        const Port& b = network.portOf(cable.b);
        spread.carried.push_back(
            works(a) && works(b) ? platform::vlanIntersection(a.member, b.member) : VlanBitmap{});
    }
    return spread;
}

VlanBitmap offeredAt(const Network& network, PortAt at) {
    const Switch& each = network.switchOf(at);
    VlanBitmap offered = each.staticVlans;
    for (std::size_t port = 0; port < each.ports.size(); ++port)
        if (port != at.port)
            offered = vlanUnion(offered, each.ports[port].registered);
    return offered;
}

std::vector<AlikeVlans> alikeVlans(const Spread& spread) {
    Patterns patterns{};
    std::array<u32, platform::kLastVlan + 3> places{};
    for (std::size_t i = 0; i < spread.wanted.size(); ++i) {
        addTo(patterns, spread.wanted[i], 2 * i);
        platform::vlanForEach(spread.wanted[i], [&](u32 vid) { ++places[vid]; });
    }
    for (std::size_t i = 0; i < spread.carried.size(); ++i)
        addTo(patterns, spread.carried[i], 2 * i + 1);
    std::map<u64, AlikeVlans> groups;
    for (u32 vid = platform::kFirstVlan; vid <= platform::kLastVlan; ++vid) {
        if (places[vid] < 2)
            continue;
        AlikeVlans& group = groups[patterns[vid]];
        if (group.first == 0)
            group.first = vid;
        platform::vlanInsert(group.vlans, vid);
    }
    std::vector<AlikeVlans> list;
    for (const auto& [pattern, group] : groups)
        list.push_back(group);
    return list;
}

std::vector<Gap> gapsOf(const Network& network, const Spread& spread) {
    std::map<std::size_t, VlanBitmap> byCable;
    for (const AlikeVlans& group : alikeVlans(spread))
        for (const auto& [part, others] : brokenOf(network, spread, group.first).between)
            for (const auto& [other, cables] : others)
                for (const std::size_t cable : cables)
                    byCable[cable] = vlanUnion(byCable[cable], group.vlans);
    std::vector<Gap> gaps;
    for (const auto& [cable, vlans] : byCable)
        gaps.push_back({cable, vlans});
    return gaps;
}

}  // namespace network
