// SPDX-License-Identifier: MIT
#include "network/plan/change.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/contract/management.h"
#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

using platform::formatVlanRanges;

/// A switch, and what stands behind the colon.
struct Place {
    std::size_t of = 0;
    std::string rest;
    bool hasRest = false;
};

std::string known(const Network& network) {
    std::string names;
    for (const Switch& each : network.switches)
        names += (names.empty() ? "" : ", ") + each.name;
    return names;
}

std::optional<Place> findPlace(const Network& network, const std::string& word) {
    for (std::size_t of = 0; of < network.switches.size(); ++of) {
        const std::string& name = network.switches[of].name;
        if (word == name)
            return Place{of, "", false};
        if (word.size() > name.size() && word.starts_with(name) && word[name.size()] == ':')
            return Place{of, word.substr(name.size() + 1), true};
    }
    return {};
}

Place placeOf(const Network& network, const std::string& option, const std::string& word) {
    const auto place = findPlace(network, word);
    if (!place)
        throw ChangeError(option + " " + word + ": there is no such switch; allowed are " +
                          known(network));
    return *place;
}

std::string cableNames(const Network& network, std::size_t of) {
    std::string names;
    for (const Cable& cable : network.cables)
        for (const auto& [here, there] : {std::pair(cable.a, cable.b), std::pair(cable.b, cable.a)})
            if (here.of == of)
                names += (names.empty() ? "" : ", ") + nameOf(network, here) + " (to " +
                         network.switchOf(there).name + ")";
    return names.empty() ? "none, as no cable of it is known" : names;
}

/// The cables that "A:B" means: that of port B of A, or else all between A and switch B.
std::vector<std::size_t> cablesOf(const Network& network, const std::string& option,
                                  const std::string& word) {
    const Place place = placeOf(network, option, word);
    std::vector<std::size_t> ofPort;
    std::vector<std::size_t> between;
    for (std::size_t i = 0; i < network.cables.size(); ++i) {
        const Cable& cable = network.cables[i];
        for (const auto& [here, there] :
             {std::pair(cable.a, cable.b), std::pair(cable.b, cable.a)}) {
            if (here.of != place.of)
                continue;
            if (network.portOf(here).name == place.rest)
                ofPort.push_back(i);
            if (network.switchOf(there).name == place.rest)
                between.push_back(i);
        }
    }
    const auto& found = ofPort.empty() ? between : ofPort;
    if (found.empty())
        throw ChangeError(option + " " + word + ": there is no such cable; allowed are " +
                          cableNames(network, place.of));
    return found;
}

bool isUp(const Network& network, std::size_t cable) {
    const Cable& each = network.cables[cable];
    return network.portOf(each.a).linkUp && network.portOf(each.b).linkUp;
}

Change ofCable(const Network& network, ChangeKind kind, const std::string& word) {
    const bool cut = kind == ChangeKind::Cut;
    const std::string option = cut ? "--cut" : "--mend";
    Change change{kind, 0, cablesOf(network, option, word), {}, {}, {}, ""};
    for (const std::size_t cable : change.cables) {
        if (isUp(network, cable) != cut)
            throw ChangeError(option + " " + word + ": the cable " +
                              nameOf(network, network.cables[cable]) + " is " +
                              (cut ? "down" : "up") + " already; allowed are cables that are " +
                              (cut ? "up" : "down"));
        change.text += (change.text.empty() ? (cut ? "cut " : "mend ") : ", ") +
                       nameOf(network, network.cables[cable]);
    }
    return change;
}

Change restartOf(const Network& network, const std::string& word) {
    const Place place = placeOf(network, "--restart", word);
    if (place.hasRest)
        throw ChangeError("--restart " + word + ": a switch restarts as a whole; allowed are " +
                          known(network));
    return {ChangeKind::Restart, place.of, {}, {}, {}, {}, "restart " + word};
}

Change ofVlans(const Network& network, ChangeKind kind, const std::string& word) {
    const bool adds = kind == ChangeKind::Add;
    const std::string option = adds ? "--add" : "--delete";
    const Place place = placeOf(network, option, word);
    const auto vlans = platform::parseVlanRanges(place.rest);
    if (!place.hasRest || !vlans || platform::vlanIsEmpty(*vlans))
        throw ChangeError(option + " " + word +
                          ": the VLANs are missing; allowed is SWITCH:VLANS, VLANS " +
                          platform::kVlanRangesAllowed);
    const Switch& each = network.switches[place.of];
    VlanBitmap allowed = each.staticVlans;
    if (adds)
        allowed = platform::vlanDifference(
            platform::parseVlanRanges("2-4094").value_or(VlanBitmap{}), allowed);
    platform::vlanErase(allowed, platform::kFirstVlan);
    if (!platform::vlanIsEmpty(platform::vlanDifference(*vlans, allowed)))
        throw ChangeError(option + " " + word + ": allowed are VLANs that are " +
                          (adds ? "not static there yet: " : "static there: ") +
                          formatVlanRanges(allowed));
    return {kind,
            place.of,
            {},
            *vlans,
            {},
            {},
            (adds ? "add " : "delete ") + formatVlanRanges(*vlans) + (adds ? " to " : " from ") +
                each.name};
}

struct TimeWord {
    const MvrpSetting& setting;
    std::string_view name;
    std::optional<u32> NewTimes::*member;
};
constexpr std::array<TimeWord, 3> kTimeWords = {
    {{kMvrpJoinTime, "join", &NewTimes::joinMs},
     {kMvrpLeaveTime, "leave", &NewTimes::leaveMs},
     {kMvrpLeaveAllTime, "leave-all", &NewTimes::leaveAllMs}}};

/// "join=200"
void readTime(const std::string& word, std::string_view item, NewTimes& times) {
    const std::size_t equals = item.find('=');
    for (const TimeWord& known : kTimeWords) {
        if (equals == std::string_view::npos || item.substr(0, equals) != known.name)
            continue;
        const std::string_view digits = item.substr(equals + 1);
        u32 ms = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), ms);
        if (error != std::errc{} || end != digits.data() + digits.size() ||
            !known.setting.allows(ms))
            throw ChangeError("--times " + word + ": allowed for " + std::string(known.name) +
                              " are " + std::to_string(known.setting.least) + " to " +
                              std::to_string(known.setting.most) + " ms");
        times.*known.member = ms;
        return;
    }
    throw ChangeError("--times " + word +
                      ": allowed is [SWITCH[:PORT]:]join=MS,leave=MS,leave-all=MS, at least one "
                      "of them");
}

std::vector<PortAt> portsOf(const Network& network, const std::string& word,
                            const std::string& where) {
    std::vector<PortAt> ports;
    const auto addAll = [&](std::size_t of, const std::string& name) {
        for (std::size_t port = 0; port < network.switches[of].ports.size(); ++port) {
            const Port& each = network.switches[of].ports[port];
            if (each.enabled && (name.empty() || each.name == name))
                ports.push_back({of, port});
        }
    };
    if (where.empty()) {
        for (std::size_t of = 0; of < network.switches.size(); ++of)
            addAll(of, "");
    } else {
        const Place place = placeOf(network, "--times", where);
        addAll(place.of, place.rest);
    }
    if (ports.empty())
        throw ChangeError("--times " + word + ": there is no such port on which MVRP runs");
    return ports;
}

/// The times of a port have to fit each other.
void checkTimes(const Network& network, const std::string& word, PortAt at, const NewTimes& times) {
    const Port& port = network.portOf(at);
    const u32 joinMs = times.joinMs.value_or(port.joinMs);
    const u32 leaveMs = times.leaveMs.value_or(port.leaveMs);
    const u32 leaveAllMs = times.leaveAllMs.value_or(port.leaveAllMs);
    if (leaveMs >= kMvrpJoinsPerLeave * joinMs && leaveAllMs >= leaveMs)
        return;
    throw ChangeError("--times " + word + ": " + nameOf(network, at) + " would have join " +
                      std::to_string(joinMs) + ", leave " + std::to_string(leaveMs) +
                      ", leave-all " + std::to_string(leaveAllMs) +
                      "; allowed are a leave time of twice the join time at least, and a leave-all "
                      "time of the leave time at least");
}

Change timesOf(const Network& network, const std::string& word) {
    const std::size_t equals = word.find('=');
    const std::size_t colon = word.rfind(':', equals);
    const bool everywhere = equals == std::string::npos || colon == std::string::npos;
    const std::string where = everywhere ? "" : word.substr(0, colon);
    std::string list = everywhere ? word : word.substr(colon + 1);
    Change change{ChangeKind::Times, 0, {}, {}, {}, {}, "times " + word};
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        readTime(word, std::string_view(list).substr(0, comma), change.times);
        list.erase(0, comma + 1);
    }
    change.ports = portsOf(network, word, where);
    for (const PortAt at : change.ports)
        checkTimes(network, word, at, change.times);
    return change;
}

}  // namespace

bool ChangeWords::empty() const {
    return cut.empty() && mend.empty() && restart.empty() && remove.empty() && add.empty() &&
           times.empty();
}

std::vector<Change> readChanges(const Network& network, const ChangeWords& words) {
    std::vector<Change> changes;
    for (const std::string& word : words.times)
        changes.push_back(timesOf(network, word));
    for (const std::string& word : words.cut)
        changes.push_back(ofCable(network, ChangeKind::Cut, word));
    for (const std::string& word : words.mend)
        changes.push_back(ofCable(network, ChangeKind::Mend, word));
    for (const std::string& word : words.restart)
        changes.push_back(restartOf(network, word));
    for (const std::string& word : words.remove)
        changes.push_back(ofVlans(network, ChangeKind::Delete, word));
    for (const std::string& word : words.add)
        changes.push_back(ofVlans(network, ChangeKind::Add, word));
    return changes;
}

void applyToSettings(Network& network, const Change& change) {
    Switch& each = network.switches[change.of];
    if (change.kind == ChangeKind::Delete)
        each.staticVlans = platform::vlanDifference(each.staticVlans, change.vlans);
    else if (change.kind == ChangeKind::Add)
        each.staticVlans = platform::vlanUnion(each.staticVlans, change.vlans);
    for (const std::size_t cable : change.cables)
        for (const PortAt at : {network.cables[cable].a, network.cables[cable].b})
            network.switches[at.of].ports[at.port].linkUp = change.kind == ChangeKind::Mend;
    for (const PortAt at : change.ports) {
        Port& port = network.switches[at.of].ports[at.port];
        port.joinMs = change.times.joinMs.value_or(port.joinMs);
        port.leaveMs = change.times.leaveMs.value_or(port.leaveMs);
        port.leaveAllMs = change.times.leaveAllMs.value_or(port.leaveAllMs);
    }
}

}  // namespace network
