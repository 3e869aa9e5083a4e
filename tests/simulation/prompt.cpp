// SPDX-License-Identifier: MIT
#include "tests/simulation/prompt.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "daemon/mgmt/config.h"
#include "platform/contract/qor_vlan.h"
#include "platform/virtual/network/platform_events.h"
#include "platform/virtual/network/port_view.h"
#include "tests/simulation/invariants.h"

namespace simulation {
namespace {

constexpr u32 kJoinMs = 200;
constexpr u32 kLeaveMs = 600;

/// A declaration leaves the switch on which the VLAN became static with its join timer, which a new
/// static VLAN does not put off, and crosses a cable in up to 20 ms, each switch at once. What a
/// port has registered is applied 20 ms later.
constexpr u64 kFirstJoinMs = 1000;
constexpr u64 kCableMs = 20;
constexpr u64 kAppliedMs = 25;
/// A withdrawal waits on each switch for the leave time and up to a quarter more.
constexpr u64 kHopLeaveMs = kLeaveMs + 2 * kLeaveMs / 4 + kCableMs;
/// Where frames wait all along, a run of the pending timer gives way, and the next one does its
/// work.
constexpr u64 kGivesWayMs = 3000;
constexpr u32 kBusyBytes = 64;
/// A port that is switched on has its default times; its first declarations wait for its join time.
constexpr u64 kSwitchedOnMs = kMvrpJoinTime.initial + kFirstJoinMs;
/// VLANs that are deleted one after the other, closer to each other than a leave time.
constexpr std::size_t kDeleted = 5;
constexpr u64 kDeletedEveryMs = 290;
static_assert((kDeleted - 1) * kDeletedEveryMs > kJoinMs + kHopLeaveMs);
static_assert(kDeletedEveryMs < kLeaveMs);

bool isStaticSomewhere(const Network& network, u32 vid) {
    return std::ranges::any_of(network.nodes(), [vid](const auto& node) {
        return node->host.switchState.typeOfVlan(vid) == static_cast<u32>(QorVlanType::Static);
    });
}

/// VLANs that are static nowhere, as far as there are any.
std::vector<u32> freeVlans(const Network& network, Random& random, Profile profile,
                           std::size_t count) {
    constexpr u32 kTries = 100;
    std::vector<u32> free;
    for (u32 tries = 0; tries < kTries && free.size() < count; tries++) {
        const u32 vid = chooseVlan(random, profile);
        if (!isStaticSomewhere(network, vid) && std::ranges::find(free, vid) == free.end())
            free.push_back(vid);
    }
    return free;
}

/// The ports at the other ends of a switch's cables, and its own.
std::vector<std::pair<PortEnd, PortEnd>> cablesOf(const Network& network, u32 index) {
    std::vector<std::pair<PortEnd, PortEnd>> cables;
    for (const Cable& cable : network.cables()) {
        if (cable.a.node == index)
            cables.emplace_back(cable.a, cable.b);
        if (cable.b.node == index)
            cables.emplace_back(cable.b, cable.a);
    }
    return cables;
}

/// One network while its answers are timed.
class Prompt {
  public:
    Prompt(Network& network, const Plan& plan, const Later& later)
        : network_(network),
          later_(later),
          random_(plan.seed ^ 0x70726F6D7074U),
          hops_(longestWay(network)),
          vlans_(freeVlans(network, random_, plan.profile, kDeleted)),
          index_(random_.below(network.switchCount())) {}

    std::string run();

  private:
    std::string joins();
    std::string leaves();
    std::string leavesAmongOthers();
    std::string joinsWhileBusy();
    std::string joinsWhileAPortGoes();
    std::string isToldAgain();

    std::string notApplied(u32 index);
    std::string rightAfter(u64 ms, const std::string& what);
    std::string goneAfter(u64 ms, std::span<const u32> vlans, const std::string& what);
    void setStandardTimes();
    void makeStatic(u32 index, u32 vid) {
        network_.act(index, [&] { makeVlanStatic(network_.node(index), vid); });
    }
    void remove(u32 index, u32 vid) {
        network_.act(index, [&] { deleteVlan(network_.node(index), vid); });
    }
    void switchOffAndOn(PortEnd end);
    u64 joinMs() const { return kFirstJoinMs + hops_ * kCableMs + kAppliedMs; }
    u64 leaveMs() const { return kFirstJoinMs + hops_ * kHopLeaveMs; }

    Network& network_;
    const Later& later_;
    Random random_;
    u64 hops_;
    std::vector<u32> vlans_;
    u32 index_;
};

/// Lets time pass, and looks at every port.
std::string Prompt::rightAfter(u64 ms, const std::string& what) {
    std::string problem = later_(ms);
    if (problem.empty())
        problem = checkExactPorts(network_);
    return problem.empty() ? problem : std::to_string(ms) + " ms after " + what + ": " + problem;
}

/// The same for `vlans` that were deleted. A withdrawal that a declaration overtakes, as when two
/// LeaveAlls cross on a cable, is missed until the next LeaveAll; twice in a row it is no chance.
std::string Prompt::goneAfter(u64 ms, std::span<const u32> vlans, const std::string& what) {
    if (rightAfter(ms, what).empty())
        return {};
    for (const u32 vid : vlans)
        makeStatic(index_, vid);
    const std::string problem = later_(joinMs());
    for (const u32 vid : vlans)
        remove(index_, vid);
    return problem.empty() ? rightAfter(leaveMs(), what + ", and again") : problem;
}

void Prompt::setStandardTimes() {
    for (u32 index = 0; index < network_.switchCount(); index++)
        network_.act(index, [&] {
            for (const auto& [unit, port] : network_.node(index).host.switchState.ports) {
                setPort(unit, MVRP_PORT_JOIN_TIMEOUT, kJoinMs);
                setPort(unit, MVRP_PORT_LEAVE_TIMEOUT, kLeaveMs);
            }
        });
}

void Prompt::switchOffAndOn(PortEnd end) {
    for (const bool on : {false, true})
        network_.act(end.node, [&] { setPortEnabled(network_.node(end.node), end.unit, on); });
    setStandardTimes();
}

std::string Prompt::joins() {
    makeStatic(index_, vlans_[0]);
    return rightAfter(joinMs(), "VLAN " + std::to_string(vlans_[0]) + " became static on switch " +
                                    std::to_string(index_));
}

std::string Prompt::leaves() {
    remove(index_, vlans_[0]);
    return goneAfter(
        leaveMs(), std::span(vlans_).first(1),
        "VLAN " + std::to_string(vlans_[0]) + " was deleted on switch " + std::to_string(index_));
}

/// Several go one after the other; the first does not stay on the neighbours for the others' sake.
std::string Prompt::leavesAmongOthers() {
    for (const u32 vid : vlans_)
        makeStatic(index_, vid);
    const std::string which = " on switch " + std::to_string(index_);
    std::string problem = rightAfter(joinMs(), "several VLANs became static" + which);
    for (const u32 vid : vlans_) {
        remove(index_, vid);
        if (problem.empty() && vid != vlans_.back())
            problem = later_(kDeletedEveryMs);
    }
    if (!problem.empty())
        return problem;
    const Views views = viewsOf(network_);
    if (vlans_.size() == kDeleted)
        for (const auto& [own, other] : cablesOf(network_, index_))
            if (views[other.node].at(other.unit).learnt.test(vlans_[0]))
                return "switch " + std::to_string(other.node) + " port " +
                       std::to_string(other.unit) + ": keeps VLAN " + std::to_string(vlans_[0]) +
                       ", which was deleted" + which + " before others were";
    return goneAfter(leaveMs(), vlans_, "several VLANs were deleted" + which);
}

/// Frames wait on all sockets of all switches all along.
std::string Prompt::joinsWhileBusy() {
    const auto setWaiting = [this](const std::vector<u32>& answers) {
        for (u32 index = 0; index < network_.switchCount(); index++)
            for (auto& waiting : network_.node(index).host.sockets.waiting)
                waiting.set(answers);
    };
    setWaiting({kBusyBytes});
    makeStatic(index_, vlans_[0]);
    std::string problem =
        rightAfter(joinMs() + kGivesWayMs, "VLAN " + std::to_string(vlans_[0]) +
                                               " became static, while frames wait everywhere");
    setWaiting({});
    remove(index_, vlans_[0]);
    return problem.empty() ? goneAfter(leaveMs(), std::span(vlans_).first(1), "it was deleted")
                           : problem;
}

/// What a switch has registered and not applied.
std::string Prompt::notApplied(u32 index) {
    const std::map<u32, PortView> ports = viewsOf(network_)[index];
    for (const auto& [unit, view] : ports) {
        const auto& facts = network_.node(index).host.switchState.ports.at(unit);
        const std::string problem = differing("member", view.member & view.learnt & facts.permitted,
                                              view.learnt & facts.permitted);
        if (!problem.empty())
            return "switch " + std::to_string(index) + " port " + std::to_string(unit) + ": " +
                   problem;
    }
    return {};
}

/// A switch has registered the VLAN and not applied it when another of its ports is switched off
/// and on. It does so all the same.
std::string Prompt::joinsWhileAPortGoes() {
    makeStatic(index_, vlans_[0]);
    std::string problem;
    std::optional<u32> waits;
    for (u64 ms = 0; ms < joinMs() && problem.empty() && !waits.has_value(); ms++) {
        problem = later_(1);
        for (u32 index = 0; index < network_.switchCount(); index++)
            if (network_.node(index).record.vlanEntryNum != 0)
                waits = index;
    }
    if (problem.empty() && waits.has_value()) {
        // The last port of a switch has no cable.
        const auto& ports = network_.node(*waits).host.switchState.ports;
        switchOffAndOn({*waits, static_cast<u32>(ports.size())});
        problem = later_(kAppliedMs);
        if (problem.empty())
            problem = notApplied(*waits);
        if (!problem.empty())
            problem = "a port was switched off and on while VLANs waited to be applied: " + problem;
    }
    remove(index_, vlans_[0]);
    return problem.empty() ? goneAfter(kSwitchedOnMs + leaveMs(), std::span(vlans_).first(1),
                                       "a port was switched off and on, and the VLAN deleted")
                           : problem;
}

/// Two switches have the VLAN. A port between them forgets it, and says so to the one that goes on
/// declaring it, as it declares it for the other. What it does not declare it hears of with the
/// next LeaveAll only; and so it is with all under compliance, where a question starts no timer.
std::string Prompt::isToldAgain() {
    const auto cables = cablesOf(network_, index_);
    if (cables.size() < 2 || network_.node(index_).compliant)
        return {};
    for (const auto& [own, other] : {cables[0], cables[1]})
        makeStatic(other.node, vlans_[0]);
    const std::string vlan = "VLAN " + std::to_string(vlans_[0]);
    // What is declared is said twice; nobody says it a third time by himself.
    std::string problem = rightAfter(2 * joinMs(), vlan + " became static on two switches");
    const PortEnd forgets = cables[0].first;
    const auto isRegistered = [this](PortEnd end) {
        return viewsOf(network_)[end.node].at(end.unit).learnt.test(vlans_[0]);
    };
    if (!problem.empty() || !isRegistered(forgets) || !isRegistered(cables[1].first))
        return problem;  // it is not admitted, or not declared for the other
    switchOffAndOn(forgets);
    problem = later_(kSwitchedOnMs);
    if (problem.empty() && !isRegistered(forgets))
        problem = "switch " + std::to_string(forgets.node) + " port " +
                  std::to_string(forgets.unit) + ": was switched off and on " +
                  std::to_string(kSwitchedOnMs) + " ms ago, and is not told of " + vlan + " again";
    return problem;
}

std::string Prompt::run() {
    if (vlans_.empty() || network_.switchCount() < 2)
        return {};
    setStandardTimes();
    for (const auto& part :
         {&Prompt::joins, &Prompt::leaves, &Prompt::leavesAmongOthers, &Prompt::joinsWhileBusy,
          &Prompt::joinsWhileAPortGoes, &Prompt::isToldAgain}) {
        std::string problem = (this->*part)();
        if (!problem.empty())
            return problem;
    }
    return {};
}

}  // namespace

std::string checkPrompt(Network& network, const Plan& plan, const Later& later) {
    return Prompt(network, plan, later).run();
}

}  // namespace simulation
