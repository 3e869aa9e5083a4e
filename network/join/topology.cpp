// SPDX-License-Identifier: MIT
#include "network/join/topology.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>

#include "platform/model/mac_address.h"

namespace network {

namespace {

using Owners = std::unordered_map<Mac, std::vector<PortAt>>;
using Edges = std::map<std::pair<PortAt, PortAt>, Evidence>;

template <typename Visit>
void forEachPort(const Network& network, Visit visit) {
    for (std::size_t of = 0; of < network.switches.size(); ++of)
        for (std::size_t port = 0; port < network.switches[of].ports.size(); ++port)
            visit(PortAt{of, port});
}

Evidence& edgeOf(Edges& edges, PortAt here, PortAt there) {
    return edges[{std::min(here, there), std::max(here, there)}];
}

Owners ownersOf(const Network& network) {
    Owners owners;
    forEachPort(network, [&](PortAt at) {
        if (const Mac mac = network.portOf(at).mac; mac != 0)
            owners[mac].push_back(at);
    });
    return owners;
}

bool isShared(const std::vector<PortAt>& ports) {
    return std::ranges::any_of(ports, [&](PortAt at) { return at.of != ports.front().of; });
}

/// Addresses that two switches have say nothing: a copied machine. One line for each such pair.
void dropShared(Network& network, Owners& owners) {
    std::set<std::pair<std::size_t, std::size_t>> pairs;
    for (auto& [mac, ports] : owners) {
        if (!isShared(ports))
            continue;
        pairs.emplace(ports.front().of, ports.back().of);
        ports.clear();
    }
    for (const auto& [a, b] : pairs)
        network.problems.push_back(network.switches[a].name + " and " + network.switches[b].name +
                                   " have the same MAC addresses (a copied machine?); those are "
                                   "not used to find cables");
}

bool hears(const Port& port, const std::vector<Mac>& macs) {
    return std::ranges::any_of(port.neighbours, [&](const Neighbour& neighbour) {
        return std::ranges::find(macs, neighbour.mac) != macs.end();
    });
}

/// Of several ports with one address, as on a bridge, the one that hears this one.
std::vector<PortAt> narrowed(const Network& network, PortAt here, std::vector<PortAt> ports) {
    if (ports.size() < 2)
        return ports;
    std::vector<PortAt> hearing;
    for (const PortAt at : ports)
        if (hears(network.portOf(at), {network.portOf(here).mac}))
            hearing.push_back(at);
    return hearing.size() == 1 ? hearing : ports;
}

/// A switch of the network says something whenever a LeaveAll of its own or of the other end comes,
/// within one and a half of the shorter time. @return whether that was so many such times ago
bool misses(const Network& network, PortAt here, u64 ageMs, PortAt there, u64 leaveAlls) {
    const Port& port = network.portOf(here);
    const u64 leaveAllMs = std::min(network.portOf(there).leaveAllMs, port.leaveAllMs);
    return leaveAllMs != 0 && ageMs > leaveAlls * leaveAllMs * 3 / 2 + port.leaveMs;
}

/// A switch of the network that missed three LeaveAlls is not at that port any more.
void markSilent(Network& network, const Owners& owners) {
    constexpr u64 kLeaveAlls = 3;
    forEachPort(network, [&](PortAt here) {
        for (Neighbour& neighbour : network.portOf(here).neighbours) {
            const auto found = owners.find(neighbour.mac);
            if (found == owners.end() || found->second.empty())
                continue;
            const bool silent = std::ranges::all_of(found->second, [&](PortAt there) {
                return misses(network, here, neighbour.ageMs, there, kLeaveAlls);
            });
            neighbour.lost = neighbour.lost || silent;
        }
    });
}

/// A port heard an address. @return whether somebody of the network has it
bool addHeard(const Network& network, const Owners& owners, PortAt here, Mac mac, bool now,
              Edges& edges) {
    const auto found = owners.find(mac);
    if (found == owners.end())
        return false;
    for (const PortAt there : narrowed(network, here, found->second)) {
        if (there == here)
            continue;
        Evidence& edge = edgeOf(edges, here, there);
        if (!now)
            edge.remembered = true;
        else
            (here < there ? edge.heardAtA : edge.heardAtB) = true;
    }
    return true;
}

void addNeighbours(Network& network, const Owners& owners, Edges& edges) {
    std::vector<Stranger> strangers;
    forEachPort(network, [&](PortAt here) {
        const Port& port = network.portOf(here);
        for (const Neighbour& neighbour : port.neighbours)
            if (!addHeard(network, owners, here, neighbour.mac, !neighbour.lost && port.linkUp,
                          edges))
                strangers.push_back({here, neighbour.mac, neighbour.gvrp, neighbour.lost});
        // A port that takes no part hears, too; what it heard when it did is older.
        const bool silent = !talks(network.switchOf(here), port);
        if (port.heardLast != 0 && (silent || !hears(port, {port.heardLast})))
            addHeard(network, owners, here, port.heardLast, silent && port.linkUp, edges);
    });
    network.strangers = std::move(strangers);
}

/// The two sockets of "unix:LOCAL,PEER"; empty for another cable.
std::pair<std::string, std::string> socketsOf(const std::string& cable) {
    constexpr std::string_view kUnix = "unix:";
    const std::size_t comma = cable.find(',');
    if (!cable.starts_with(kUnix) || comma == std::string::npos)
        return {};
    return {cable.substr(kUnix.size(), comma - kUnix.size()), cable.substr(comma + 1)};
}

/// Sockets of one machine that name each other.
void addConfigured(const Network& network, Edges& edges) {
    std::map<std::pair<std::string, std::string>, PortAt> byPath;
    const auto keyOf = [&](PortAt at, const std::string& path) {
        return std::pair(network.switchOf(at).hostName, path);
    };
    forEachPort(network, [&](PortAt at) {
        if (const auto local = socketsOf(network.portOf(at).cable).first; !local.empty())
            byPath[keyOf(at, local)] = at;
    });
    forEachPort(network, [&](PortAt at) {
        const auto [local, peer] = socketsOf(network.portOf(at).cable);
        const auto other = byPath.find(keyOf(at, peer));
        if (!local.empty() && other != byPath.end() && other->second != at &&
            socketsOf(network.portOf(other->second).cable).second == local)
            edgeOf(edges, at, other->second).configured = true;
    });
}

void addLldp(const Network& network, Edges& edges) {
    std::map<std::pair<std::string, std::string>, PortAt> byName;
    forEachPort(network, [&](PortAt at) {
        byName[{network.switchOf(at).hostName, network.portOf(at).name}] = at;
    });
    for (const Switch& each : network.switches)
        for (const LldpNeighbour& told : each.lldp) {
            const auto here = byName.find({each.hostName, told.interface});
            const auto there = byName.find({told.system, told.port});
            if (here != byName.end() && there != byName.end() && here->second != there->second)
                edgeOf(edges, here->second, there->second).lldp = true;
        }
}

/// Whether a port has not heard another one at the last LeaveAll.
bool isOverdue(const Network& network, PortAt here, PortAt there) {
    const Mac mac = network.portOf(there).mac;
    return std::ranges::all_of(network.portOf(here).neighbours, [&](const Neighbour& neighbour) {
        return neighbour.mac != mac || misses(network, here, neighbour.ageMs, there, 1);
    });
}

void forget(Network& network, PortAt here, PortAt there) {
    for (Neighbour& neighbour : network.portOf(here).neighbours)
        if (neighbour.mac == network.portOf(there).mac)
            neighbour.lost = true;
}

/// Takes away what ports hear of each other through a switch that takes no part, and what they
/// heard through one that takes part again: with that one between them, one LeaveAll tells.
void dropThrough(Network& network, Edges& edges) {
    const auto isSilent = [&](PortAt at) {
        return !talks(network.switchOf(at), network.portOf(at));
    };
    std::map<PortAt, std::vector<PortAt>> others;  // what a port has a live cable to
    for (const auto& [ends, evidence] : edges) {
        if (!evidence.isLive())
            continue;
        others[ends.first].push_back(ends.second);
        others[ends.second].push_back(ends.first);
    }
    std::erase_if(edges, [&](const auto& edge) {
        const PortAt here = edge.first.first;
        const PortAt there = edge.first.second;
        const Evidence& evidence = edge.second;
        if (evidence.lldp || evidence.configured)
            return false;
        const bool overdue = isOverdue(network, here, there) && isOverdue(network, there, here);
        const bool through = std::ranges::any_of(others[here], [&](PortAt a) {
            return std::ranges::any_of(others[there], [&](PortAt b) {
                return a.of == b.of && a != b && (overdue || isSilent(a) || isSilent(b));
            });
        });
        if (through && overdue) {
            forget(network, here, there);
            forget(network, there, here);
        }
        return through;
    });
}

/// What is only remembered gives way to what is there now: the cable was moved.
std::vector<Cable> cablesOf(const Edges& edges) {
    std::set<PortAt> live;
    for (const auto& [ends, evidence] : edges)
        if (evidence.isLive())
            live.insert({ends.first, ends.second});
    std::vector<Cable> cables;
    for (const auto& [ends, evidence] : edges)
        if (evidence.isLive() || (!live.contains(ends.first) && !live.contains(ends.second)))
            cables.push_back({ends.first, ends.second, evidence});
    return cables;
}

}  // namespace

std::string macText(Mac mac) {
    platform::MacAddress bytes{};
    for (std::size_t i = bytes.size(); i-- > 0; mac >>= 8U)
        bytes.at(i) = static_cast<u8>(mac);
    return platform::formatMac(bytes);
}

std::string nameOf(const Network& network, PortAt at) {
    return network.switchOf(at).name + ":" + network.portOf(at).name;
}

std::string nameOf(const Network& network, const Cable& cable) {
    return nameOf(network, cable.a) + " - " + nameOf(network, cable.b);
}

Network joinNetwork(std::vector<Switch> switches, Problems problems) {
    Network network;
    network.switches = std::move(switches);
    network.problems = std::move(problems);
    Owners owners = ownersOf(network);
    dropShared(network, owners);
    markSilent(network, owners);
    Edges edges;
    addNeighbours(network, owners, edges);
    addConfigured(network, edges);
    addLldp(network, edges);
    dropThrough(network, edges);
    network.cables = cablesOf(edges);
    return network;
}

}  // namespace network
