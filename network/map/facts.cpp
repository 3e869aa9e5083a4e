// SPDX-License-Identifier: MIT
#include "network/map/facts.h"

#include <algorithm>
#include <map>

#include "network/check/cable_reason.h"
#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

using platform::vlanContains;
using platform::vlanUnion;

u32 firstOf(const VlanBitmap& vlans) {
    u32 first = 0;
    platform::vlanForEach(vlans, [&first](u32 vid) { first = first == 0 ? vid : first; });
    return first;
}

std::vector<SwitchVlans> switchesOf(const Network& network, const Spread& spread) {
    std::vector<SwitchVlans> switches;
    for (std::size_t i = 0; i < network.switches.size(); ++i)
        switches.push_back(
            {network.switches[i].staticVlans, spread.wanted[i], network.switches[i].learntVlans});
    return switches;
}

EndVlans endOf(const Port& port) {
    return {port.registered, platform::vlanDifference(port.member, port.registered)};
}

std::vector<CableVlans> cablesOf(const Network& network, const Spread& spread) {
    std::vector<CableVlans> cables;
    for (const Cable& cable : network.cables) {
        const Port& a = network.portOf(cable.a);
        const Port& b = network.portOf(cable.b);
        cables.push_back({a.linkUp && b.linkUp && a.cableError.empty() && b.cableError.empty(),
                          {},
                          {endOf(a), endOf(b)}});
    }
    for (const Gap& gap : gapsOf(network, spread))
        forEachStop(network, gap, [&](const Hindrance&, u32 vid) {
            platform::vlanInsert(cables[gap.cable].stops, vid);
        });
    return cables;
}

/// Where findings are, by the names that they have.
class Places {
  public:
    explicit Places(const Network& network) {
        for (std::size_t i = 0; i < network.switches.size(); ++i)
            switches_[network.switches[i].name] = i;
        for (std::size_t i = 0; i < network.cables.size(); ++i) {
            const Cable& cable = network.cables[i];
            const std::array ends = {cable.a, cable.b};
            for (std::size_t end = 0; end < ends.size(); ++end) {
                const std::string port = nameOf(network, ends.at(end));
                ends_[{port, nameOf(network, cable)}] = ends_[{port, ""}] = {i, end};
            }
        }
    }

    Mark markOf(const Finding& finding) const {
        const std::string port = finding.onSwitch + ":" + finding.port;
        for (const std::string& cable : {finding.cable, std::string()})
            if (const auto found = ends_.find({port, cable}); found != ends_.end())
                return {found->second.first, found->second.second, {}};
        const auto found = switches_.find(finding.onSwitch);
        return {found == switches_.end() ? 0 : found->second, {}, {}};
    }

  private:
    std::map<std::string, std::size_t> switches_;
    /// By the names of a port and of its cable, and of the port alone.
    std::map<std::pair<std::string, std::string>, std::pair<std::size_t, std::size_t>> ends_;
};

std::vector<Mark> marksOf(const Network& network, const std::vector<Finding>& findings) {
    const Places places(network);
    std::map<std::pair<std::size_t, std::optional<std::size_t>>, Mark> marks;
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const Mark found = places.markOf(findings[i]);
        Mark& mark = marks.try_emplace({found.at, found.end}, found).first->second;
        mark.findings.push_back(i);
    }
    std::vector<Mark> list;
    list.reserve(marks.size());
    for (auto& [place, mark] : marks)
        list.push_back(std::move(mark));
    return list;
}

std::vector<VlanBitmap> groupsOf(const Spread& spread) {
    std::vector<VlanBitmap> groups;
    for (const AlikeVlans& each : alikeVlans(spread))
        groups.push_back(each.vlans);
    std::ranges::sort(groups, {}, firstOf);
    return groups;
}

std::vector<std::vector<const Stranger*>> strangersOf(const Network& network) {
    std::vector<std::vector<const Stranger*>> strangers(network.switches.size());
    for (const Stranger& each : network.strangers)
        if (!each.lost)
            strangers[each.port.of].push_back(&each);
    return strangers;
}

}  // namespace

MapFacts mapFacts(const Network& network, const std::vector<Finding>& findings) {
    const Spread spread = spreadOf(network);
    return {network,
            findings,
            switchesOf(network, spread),
            strangersOf(network),
            cablesOf(network, spread),
            marksOf(network, findings),
            groupsOf(spread)};
}

const char* kindOf(const SwitchVlans& vlans, std::optional<u32> vid) {
    return !vid                               ? "whole"
           : vlanContains(vlans.fixed, *vid)  ? "static"
           : vlanContains(vlans.asked, *vid)  ? "asked"
           : vlanContains(vlans.learnt, *vid) ? "learnt"
                                              : "none";
}

const char* kindOf(const CableVlans& cable, std::size_t end, std::optional<u32> vid) {
    const EndVlans& vlans = cable.ends.at(end);
    return !cable.works                           ? "down"
           : !vid                                 ? "whole"
           : vlanContains(vlans.registered, *vid) ? "registered"
           : vlanContains(vlans.unasked, *vid)    ? "unasked"
                                                  : "none";
}

bool concerns(const Finding& finding, std::optional<u32> vid) {
    return !vid || platform::vlanIsEmpty(finding.vlans) || vlanContains(finding.vlans, *vid);
}

std::optional<u32> tellingVlan(const MapFacts& facts) {
    for (const Finding& finding : facts.findings)
        if (finding.severity != Severity::Note && firstOf(finding.vlans) != 0)
            return firstOf(finding.vlans);
    return facts.groups.empty() ? std::nullopt : std::optional(firstOf(facts.groups.front()));
}

}  // namespace network
