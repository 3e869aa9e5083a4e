// SPDX-License-Identifier: MIT
#include "network/plan/phases.h"

#include <algorithm>
#include <set>

#include "platform/virtual/network/platform_events.h"

namespace network {

namespace {

/// What a port tells is of its timer when it is no older than its time and this.
constexpr u64 kLateMs = 1000;
/// A LeaveAll that was due so long before the moment has been sent since the snapshot.
constexpr u64 kPassedMs = 30;
/// Both ends of a cable start their timers with one LeaveAll when they say so of moments that are
/// no further from each other.
constexpr u64 kSameMs = 100;

/// What one end of a cable knows, in milliseconds since the epoch.
struct End {
    PortAt at;
    u32 everyMs = 0;
    std::optional<u64> lastMs;
    bool sent = false;  ///< the last was its own
};

bool runs(const Network& network, PortAt at) {
    const Port& port = network.portOf(at);
    return talks(network.switchOf(at), port) && !port.blocked && port.cableError.empty() &&
           port.leaveAllMs != 0;
}

End endOf(const Network& network, PortAt at) {
    const Port& port = network.portOf(at);
    End end{at, port.leaveAllMs, {}, false};
    const u64 never = ~u64{0};
    const u64 sentMs = port.leaveAllSentMs.value_or(never);
    const u64 heardMs = port.leaveAllHeardMs.value_or(never);
    const u64 agoMs = std::min(sentMs, heardMs);
    const u64 takenMs = network.switchOf(at).takenMs;
    if (agoMs > u64{port.leaveAllMs} + kLateMs || agoMs > takenMs)
        return end;
    end.lastMs = takenMs - agoMs;
    end.sent = sentMs <= heardMs;
    return end;
}

/// The last LeaveAll of a cable, and what its ends know of it.
struct CableLeaveAll {
    std::vector<End> ends;
    u64 lastMs = 0;

    bool isTold(const End& end) const { return end.lastMs && lastMs - *end.lastMs <= kSameMs; }
    u64 dueOf(const End& end) const { return (isTold(end) ? *end.lastMs : lastMs) + end.everyMs; }
    /// Whoever sent the last is the first to send again; it was the other's where one has heard it.
    int rankOf(const End& end) const { return !isTold(end) ? 1 : end.sent ? 0 : 2; }
    bool isBefore(const End& a, const End& b) const {
        const u64 dueA = dueOf(a);
        const u64 dueB = dueOf(b);
        const bool same = std::max(dueA, dueB) - std::min(dueA, dueB) <= kSameMs;
        return same ? rankOf(a) < rankOf(b) : dueA < dueB;
    }
};

/// The ends of one cable, or one end alone.
void addCable(std::vector<End> ends, u64 momentMs, Phases& phases) {
    CableLeaveAll cable{std::move(ends), 0};
    for (const End& end : cable.ends)
        cable.lastMs = std::max(cable.lastMs, end.lastMs.value_or(0));
    if (cable.lastMs == 0)
        return;
    if (cable.ends.size() > 1 && cable.isBefore(cable.ends[1], cable.ends[0]))
        std::swap(cable.ends[0], cable.ends[1]);
    const End& first = cable.ends.front();
    const u64 firstMs = cable.dueOf(first);
    // LeaveAlls that came after an old snapshot.
    u64 passedMs = 0;
    while (firstMs + passedMs + kPassedMs < momentMs)
        passedMs += first.everyMs;
    const u64 lastMs = std::min(momentMs, cable.lastMs + passedMs);
    for (const End& end : cable.ends) {
        const u64 dueMs = std::max(cable.dueOf(end), firstMs) + passedMs;
        const bool leads = cable.ends.size() == 1 ? end.sent : &end == &first;
        phases.ports.push_back(
            {end.at, momentMs - lastMs, dueMs - std::min(dueMs, momentMs), leads});
    }
}

u64 applyAfter(const Switch& each, u64 momentMs) {
    const u64 dueMs = each.takenMs + *each.nextApplyMs;
    if (dueMs >= momentMs)
        return dueMs - momentMs;
    const u64 overMs = (momentMs - dueMs) % simulation::kApplyEveryMs;
    return overMs == 0 ? 0 : simulation::kApplyEveryMs - overMs;
}

}  // namespace

Phases phasesOf(const Network& network) {
    Phases phases;
    for (const Switch& each : network.switches)
        phases.momentMs = std::max(phases.momentMs, each.takenMs);
    std::set<PortAt> done;
    const auto add = [&](const std::vector<PortAt>& places) {
        std::vector<End> ends;
        for (const PortAt at : places)
            if (runs(network, at) && done.insert(at).second)
                ends.push_back(endOf(network, at));
        phases.running += ends.size();
        if (!ends.empty())
            addCable(std::move(ends), phases.momentMs, phases);
    };
    for (const Cable& cable : network.cables)
        add({cable.a, cable.b});
    for (std::size_t of = 0; of < network.switches.size(); ++of)
        for (std::size_t port = 0; port < network.switches[of].ports.size(); ++port)
            add({{of, port}});
    std::ranges::sort(phases.ports, {}, &LeaveAllPhase::at);
    for (const Switch& each : network.switches)
        phases.apply.push_back(each.nextApplyMs ? std::optional(applyAfter(each, phases.momentMs))
                                                : std::nullopt);
    return phases;
}

}  // namespace network
