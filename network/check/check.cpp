// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "network/check/cable_reason.h"
#include "network/check/finding.h"
#include "network/check/spread.h"
#include "platform/model/mac_address.h"
#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

using platform::vlanDifference;
using platform::vlanUnion;

constexpr std::array kReasonNames = {
    "linkDown",   "blocked",      "cableBroken", "loop",     "mvrpOff",   "portOff",
    "protocols",  "notPermitted", "forbidden",   "fixed",    "limit",     "quiet",
    "times",      "wireForm",     "notDeclared", "notHeard", "notMember", "stale",
    "neighbours", "corrections",  "versions",    "islands",  "onePlace"};
static_assert(kReasonNames.size() == static_cast<std::size_t>(Reason::OnePlace) + 1);

/// Findings by what they are about, so that many VLANs are one.
class Findings {
  public:
    explicit Findings(const Network& network) : network_(network) {}

    void add(Severity severity, const Hindrance& what, const Cable* cable,
             const VlanBitmap& vlans) {
        const std::string port = what.ofSwitch ? "" : network_.portOf(what.at).name;
        Finding& finding = byPlace_[{what.at.of, port, what.reason}];
        finding.severity = std::max(finding.severity, severity);
        finding.reason = what.reason;
        finding.onSwitch = network_.switchOf(what.at).name;
        finding.port = port;
        if (cable != nullptr && finding.cable.empty())
            finding.cable = nameOf(network_, *cable);
        finding.vlans = vlanUnion(finding.vlans, vlans);
        finding.text = what.text;
        finding.commands.clear();
        std::istringstream lines(what.command);
        for (std::string command; std::getline(lines, command);)
            finding.commands.push_back(command);
    }

    bool knows(PortAt at, bool ofSwitch, Reason reason) const {
        return byPlace_.contains({at.of, ofSwitch ? "" : network_.portOf(at).name, reason});
    }

    std::vector<Finding> worstFirst() {
        std::vector<Finding> list;
        for (auto& [place, finding] : byPlace_) {
            fillIn(finding);
            list.push_back(std::move(finding));
        }
        std::ranges::stable_sort(list, std::greater<>(), &Finding::severity);
        return list;
    }

  private:
    /// The VLANs where a command names them.
    static void fillIn(Finding& finding) {
        constexpr std::string_view kPlace = "VLANS";
        for (std::string& command : finding.commands)
            if (const std::size_t at = command.find(kPlace); at != std::string::npos) {
                // `explain` takes one.
                const std::string all = platform::formatVlanRanges(finding.vlans);
                const bool one = command.find("explain") != std::string::npos;
                command.replace(at, kPlace.size(),
                                one ? all.substr(0, all.find_first_of("-,")) : all);
            }
    }

    const Network& network_;
    std::map<std::tuple<std::size_t, std::string, Reason>, Finding> byPlace_;
};

void checkGap(const Network& network, const Gap& gap, Findings& findings) {
    forEachStop(network, gap, [&](const Hindrance& what, u32 vid) {
        findings.add(Severity::Error, what, &network.cables[gap.cable],
                     platform::vlanRange(vid, vid));
    });
}

void checkMismatch(const Network& network, const Cable& cable, Findings& findings) {
    for (const Direction& way :
         {Direction{network, cable.a, cable.b}, Direction{network, cable.b, cable.a}})
        if (const auto what = mismatchOf(way))
            findings.add(what->reason == Reason::Protocols ? Severity::Error : Severity::Warning,
                         *what, &cable, {});
}

/// One end takes part and the other does not.
void checkSilence(const Network& network, const Cable& cable, Findings& findings) {
    const bool a = talks(network.switchOf(cable.a), network.portOf(cable.a));
    const bool b = talks(network.switchOf(cable.b), network.portOf(cable.b));
    if (a == b)
        return;
    const PortAt at = a ? cable.b : cable.a;
    const Switch& each = network.switchOf(at);
    const Port& port = network.portOf(at);
    if (port.loop || each.standby || port.blocked)
        return;
    if (!port.linkUp)
        findings.add(Severity::Warning,
                     {Reason::LinkDown, at, false,
                      "the link of " + nameOf(network, at) + " is down, and up at the other end",
                      each.linux ? "ip link set dev " + port.name + " up"
                                 : "mvrpctl switch port link " + port.name + " up"},
                     &cable, {});
    else if (!each.enabled)
        findings.add(Severity::Warning,
                     {Reason::MvrpOff, at, true, "MVRP is off on " + each.name,
                      "mvrpctl set global enable on"},
                     &cable, {});
    else if (!port.enabled)
        findings.add(Severity::Warning,
                     {Reason::PortOff, at, false, "MVRP is off at " + nameOf(network, at),
                      "mvrpctl set port " + port.name + " enable on"},
                     &cable, {});
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

/// Corrections of one end that the other has not.
std::vector<std::string> missingAt(const Switch& here, const Switch& there) {
    std::vector<std::string> missing;
    for (const std::string& name : *there.corrections)
        if (std::ranges::find(*here.corrections, name) == here.corrections->end())
            missing.push_back(name);
    return missing;
}

void checkPrograms(const Network& network, const Cable& cable, Findings& findings) {
    const Switch& a = network.switchOf(cable.a);
    const Switch& b = network.switchOf(cable.b);
    if (a.version != b.version)
        findings.add(
            Severity::Note,
            {Reason::Versions, cable.a, true,
             a.name + " runs " + a.version + " and its neighbour " + b.name + " runs " + b.version,
             ""},
            &cable, {});
    if (!a.corrections || !b.corrections)
        return;
    for (const PortAt at : {cable.a, cable.b}) {
        const Switch& here = network.switchOf(at);
        const Switch& there = at == cable.a ? b : a;
        const std::vector<std::string> missing = missingAt(here, there);
        if (!missing.empty())
            findings.add(
                Severity::Note,
                {Reason::Corrections, at, true,
                 here.name + " runs without corrections that a neighbour has: " + listOf(missing),
                 "mvrpctl show corrections"},
                &cable, {});
    }
}

/// VLANs of which the end that receives was told so lately that it has to have them still: the
/// neighbour has stopped to declare them, or takes them back, and the leave time is not over. Every
/// declaration is renewed within a LeaveAll, which takes up to one and a half of its time.
VlanBitmap lastingAt(const Direction& way) {
    constexpr u64 kGrainMs = 1000;  // snapshots tell ages in whole seconds
    const u64 leaveAllMs = std::max(way.in().leaveAllMs, way.out().leaveAllMs);
    const u64 longestMs = leaveAllMs + leaveAllMs / 2 + way.in().leaveMs + kGrainMs;
    VlanBitmap lasting{};
    for (const auto* const ages : {&way.in().heardAges, &way.in().withdrawnAges})
        for (const VlanAge& each : *ages)
            if (each.ageMs <= longestMs)
                lasting = vlanUnion(lasting, each.vlans);
    return lasting;
}

/// Whether a missing registration is nothing new: something that is reported keeps it away.
bool isExplained(const Direction& way) {
    return way.in().registration != Registration::Normal || way.in().maxVlans != 0 ||
           mismatchOf(way);
}

/// What one end declares, nothing bars, and the other has not registered; and the opposite.
void checkWords(const Direction& way, const Cable& cable, bool hearsThrough, Findings& findings) {
    if (!talks(way.sender(), way.out()) || !talks(way.receiver(), way.in()) ||
        way.sender().gvrp != way.receiver().gvrp)
        return;
    VlanBitmap lost = vlanDifference(way.out().declared, way.in().registered);
    lost = platform::vlanIntersection(lost, way.in().permitted);
    if (!isExplained(way) && !platform::vlanIsEmpty(lost))
        findings.add(Severity::Warning,
                     {Reason::NotHeard, way.to, false,
                      nameOf(way.network, way.from) + " declares VLANs and " +
                          nameOf(way.network, way.to) + " has not registered them",
                      "mvrpctl explain " + way.in().name + " VLANS"},
                     &cable, lost);
    const VlanBitmap stale =
        vlanDifference(vlanDifference(way.in().learnt, way.out().declared), lastingAt(way));
    if (!platform::vlanIsEmpty(stale) && !hearsThrough)
        findings.add(Severity::Warning,
                     {Reason::Stale, way.to, false,
                      nameOf(way.network, way.to) +
                          " is a member of VLANs that its neighbour does not declare: nobody "
                          "needs them there",
                      "mvrpctl explain " + way.in().name + " VLANS"},
                     &cable, stale);
}

void checkCable(const Network& network, const Cable& cable, const std::set<PortAt>& through,
                Findings& findings) {
    checkMismatch(network, cable, findings);
    checkSilence(network, cable, findings);
    checkPrograms(network, cable, findings);
    checkWords({network, cable.a, cable.b}, cable, through.contains(cable.b), findings);
    checkWords({network, cable.b, cable.a}, cable, through.contains(cable.a), findings);
}

/// Switches that hand on what they hear at a port that takes no part.
std::set<std::size_t> handingOn(const Network& network) {
    std::set<std::size_t> switches;
    for (const Cable& cable : network.cables)
        for (const PortAt at : {cable.a, cable.b})
            if (network.portOf(at).linkUp && !talks(network.switchOf(at), network.portOf(at)))
                switches.insert(at.of);
    return switches;
}

/// Ports that lead to such a switch: what they hear may be from behind it.
std::set<PortAt> hearingThrough(const Network& network) {
    const std::set<std::size_t> switches = handingOn(network);
    std::set<PortAt> ports;
    for (const Cable& cable : network.cables) {
        if (switches.contains(cable.a.of))
            ports.insert(cable.b);
        if (switches.contains(cable.b.of))
            ports.insert(cable.a);
    }
    return ports;
}

void checkPort(const Network& network, PortAt at, bool hearsThrough, Findings& findings) {
    const Port& port = network.portOf(at);
    const std::string name = nameOf(network, at);
    if (port.loop)
        findings.add(Severity::Error,
                     {Reason::Loop, at, false,
                      name + " hears frames of its own switch and takes no part: it loops", ""},
                     nullptr, {});
    if (!port.cableError.empty())
        findings.add(Severity::Error,
                     {Reason::CableBroken, at, false,
                      "the cable of " + name + " does not work: " + port.cableError, ""},
                     nullptr, {});
    std::vector<std::string> macs;
    for (const Neighbour& neighbour : port.neighbours)
        if (!neighbour.lost)
            macs.push_back(macText(neighbour.mac));
    if (macs.size() > 1 && !hearsThrough)
        findings.add(Severity::Warning,
                     {Reason::Neighbours, at, false,
                      name + " hears " + std::to_string(macs.size()) + " neighbours (" +
                          listOf(macs) + "): a cable should have one at its other end",
                      ""},
                     nullptr, {});
}

/// VLANs that are wanted in parts of the network between which no cable is known.
void checkIslands(const Network& network, const Spread& spread, Findings& findings) {
    Parts parts(network.switches.size());
    for (const Cable& cable : network.cables)
        parts.join(cable.a.of, cable.b.of);
    std::map<std::size_t, VlanBitmap> wanted;
    std::map<std::size_t, std::size_t> first;
    for (std::size_t i = 0; i < network.switches.size(); ++i) {
        wanted[parts.of(i)] = vlanUnion(wanted[parts.of(i)], spread.wanted[i]);
        first.try_emplace(parts.of(i), i);
    }
    for (const auto& [part, vlans] : wanted) {
        VlanBitmap elsewhere{};
        for (const auto& [other, theirs] : wanted)
            if (other != part)
                elsewhere = vlanUnion(elsewhere, theirs);
        const VlanBitmap shared = platform::vlanIntersection(vlans, elsewhere);
        if (!platform::vlanIsEmpty(shared))
            findings.add(
                Severity::Warning,
                {Reason::Islands,
                 {first[part], 0},
                 true,
                 "no cable is known between the part of " + network.switches[first[part]].name +
                     " and others that want the same VLANs",
                 ""},
                nullptr, shared);
    }
}

void checkOnePlace(const Network& network, const Spread& spread, Findings& findings) {
    VlanBitmap once{};
    VlanBitmap more{};
    for (const VlanBitmap& wanted : spread.wanted) {
        more = vlanUnion(more, platform::vlanIntersection(once, wanted));
        once = vlanUnion(once, wanted);
    }
    for (std::size_t i = 0; i < network.switches.size() && network.switches.size() > 1; ++i) {
        const VlanBitmap alone = vlanDifference(
            platform::vlanIntersection(spread.wanted[i], network.switches[i].staticVlans), more);
        if (!platform::vlanIsEmpty(alone))
            findings.add(Severity::Note,
                         {Reason::OnePlace,
                          {i, 0},
                          true,
                          "VLANs are wanted on " + network.switches[i].name + " and nowhere else",
                          ""},
                         nullptr, alone);
    }
}

}  // namespace

const char* reasonName(Reason reason) {
    return kReasonNames.at(static_cast<std::size_t>(reason));
}

std::vector<Finding> checkNetwork(const Network& network) {
    Findings findings(network);
    const Spread spread = spreadOf(network);
    for (const Gap& gap : gapsOf(network, spread))
        checkGap(network, gap, findings);
    const std::set<PortAt> through = hearingThrough(network);
    for (const Cable& cable : network.cables)
        if (cable.evidence.isLive())
            checkCable(network, cable, through, findings);
    for (std::size_t of = 0; of < network.switches.size(); ++of)
        for (std::size_t port = 0; port < network.switches[of].ports.size(); ++port)
            checkPort(network, {of, port}, through.contains({of, port}), findings);
    checkIslands(network, spread, findings);
    checkOnePlace(network, spread, findings);
    return findings.worstFirst();
}

}  // namespace network
