// SPDX-License-Identifier: MIT
#include "network/diff/diff.h"

#include <map>
#include <set>

namespace network {

namespace {

using platform::formatVlanRanges;

/// What is compared of something, by what it is called.
using Facts = std::map<std::string, std::string>;
/// By the name of a switch, port or cable.
using Things = std::map<std::string, Facts>;

const char* onOff(bool on) {
    return on ? "on" : "off";
}

const char* registrationWord(Registration registration) {
    return registration == Registration::Normal  ? "normal"
           : registration == Registration::Fixed ? "fixed"
                                                 : "forbidden";
}

Facts factsOf(const Switch& each) {
    Facts facts = {{"switch", "there"},
                   {"MVRP", onOff(each.enabled)},
                   {"protocol", each.gvrp ? "GVRP" : "MVRP"},
                   {"version", each.version},
                   {"static VLANs", formatVlanRanges(each.staticVlans)}};
    std::string names;
    if (each.corrections)
        for (const std::string& name : *each.corrections)
            names += (names.empty() ? "" : ",") + name;
    facts["corrections"] = names.empty() ? "none" : names;
    return facts;
}

Facts factsOf(const Port& port) {
    return {{"port", "there"},
            {"link", port.linkUp ? "up" : "down"},
            {"MVRP", onOff(port.enabled)},
            {"registration", registrationWord(port.registration)},
            {"participant", port.quiet ? "quiet" : "speaks"},
            {"times (join leave leave-all)", std::to_string(port.joinMs) + " " +
                                                 std::to_string(port.leaveMs) + " " +
                                                 std::to_string(port.leaveAllMs)},
            {"max-vlans", port.maxVlans == 0 ? "none" : std::to_string(port.maxVlans)},
            {"permitted", formatVlanRanges(port.permitted)},
            {"registered", formatVlanRanges(port.registered)},
            {"declared", formatVlanRanges(port.declared)},
            {"member", formatVlanRanges(port.member)}};
}

Things thingsOf(const Network& network) {
    Things things;
    for (const Switch& each : network.switches) {
        things[each.name] = factsOf(each);
        for (const Port& port : each.ports)
            things[each.name + ":" + port.name] = factsOf(port);
    }
    for (const Cable& cable : network.cables)
        if (cable.evidence.isLive())
            things[nameOf(network, cable)] = {{"cable", "there"}};
    return things;
}

/// What has one fact only says that it is there: of what came or went, that is all to say.
bool saysPresence(const std::string& what) {
    return what == "switch" || what == "port" || what == "cable";
}

std::string valueOf(const Things& things, const std::string& where, const std::string& what) {
    const auto thing = things.find(where);
    if (thing == things.end())
        return {};
    const auto fact = thing->second.find(what);
    return fact == thing->second.end() ? "" : fact->second;
}

}  // namespace

std::vector<Difference> compareNetworks(const Network& before, const Network& after) {
    const Things old = thingsOf(before);
    const Things now = thingsOf(after);
    Things all = old;
    all.insert(now.begin(), now.end());
    std::vector<Difference> differences;
    for (const auto& [where, facts] : all) {
        const bool inBoth = old.contains(where) && now.contains(where);
        for (const auto& [what, value] : facts) {
            Difference found{where, what, valueOf(old, where, what), valueOf(now, where, what)};
            if (found.before != found.after && (inBoth || saysPresence(what)))
                differences.push_back(std::move(found));
        }
    }
    return differences;
}

}  // namespace network
