// SPDX-License-Identifier: MIT
#include "network/plan/forecast.h"

#include <algorithm>

#include "network/check/spread.h"
#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

constexpr u64 kSliceMs = 500;
/// A network that has not become quiet after so many calm times does not.
constexpr u64 kMostCalms = 20;
constexpr u64 kLeaveAllsAtRest = 4;
constexpr u64 kMsPerMinute = 60'000;
constexpr u32 kDefaultVlan = 1;

/// One run.
struct Run {
    bool ended = false;
    u64 quietMs = 0;
    u64 mostFrames = 0;
    std::string busiest;
    u64 restBefore = 0;
    u64 restAfter = 0;
    std::vector<Reach> reaches;
    std::vector<Moment> moments;
    std::vector<Difference> unlike;
    std::vector<Difference> after;
    Problems problems;
};

/// What is the same for all runs.
struct Asked {
    const Network& network;
    const std::vector<Change>& changes;
    const ForecastSettings& settings;
    Network before;  ///< the network as its snapshots have it, without VLAN 1
    Phases phases;
    std::vector<VlanBitmap> wanted;
};

/// Every port has VLAN 1, which the simulation does not follow.
void dropDefaultVlan(Network& network) {
    for (Switch& each : network.switches) {
        platform::vlanErase(each.staticVlans, kDefaultVlan);
        for (Port& port : each.ports)
            for (VlanBitmap* vlans : {&port.registered, &port.declared, &port.member, &port.learnt})
                platform::vlanErase(*vlans, kDefaultVlan);
    }
}

/// Runs until no membership has changed for the calm time. @return whether it came to that
bool runToRest(Replica& replica, const Follower& follower, u64 calmMs) {
    const u64 patienceMs = follower.nowMs() + kMostCalms * calmMs;
    const u64 begunMs = follower.nowMs();
    while (follower.nowMs() - std::max(begunMs, follower.lastChangeMs()) < calmMs)
        if (!replica.run(kSliceMs) || follower.nowMs() > patienceMs)
            return false;
    return true;
}

u64 mostAMinute(const Follower& follower, u64 ms) {
    const auto ports = follower.framesSinceCount();
    return ports.empty() ? 0 : (ports.front().frames * kMsPerMinute + ms / 2) / ms;
}

/// Frames a minute of the busiest port over some LeaveAll times.
u64 countRest(Replica& replica, Follower& follower) {
    const u64 ms = kLeaveAllsAtRest * replica.longestLeaveAllMs();
    follower.countFrames();
    replica.run(ms);
    return mostAMinute(follower, ms);
}

Network withoutDefaultVlan(Network network) {
    dropDefaultVlan(network);
    return network;
}

Network stateOf(Replica& replica) {
    return withoutDefaultVlan(replica.state());
}

std::vector<VlanBitmap> wantedAfter(const Network& network, const std::vector<Change>& changes) {
    Network after = network;
    for (const Change& change : changes)
        applyToSettings(after, change);
    return spreadOf(after).wanted;
}

bool isOfTimes(const Change& change) {
    return change.kind == ChangeKind::Times;
}

/// Nobody sets the times of all switches at one moment, and timers run from then on: one switch
/// after the other, within a LeaveAll time. Else all ends of cables would send their LeaveAlls in
/// one moment for ever, in place of hearing that of the other end first.
void applyTimes(Replica& replica, Follower& follower, const std::vector<Change>& changes,
                simulation::Random& random) {
    const u64 longestMs = replica.longestLeaveAllMs();
    const std::size_t switches = replica.source().switches.size();
    for (const Change& change : changes)
        for (std::size_t of = 0; isOfTimes(change) && of < switches; ++of) {
            Change part = change;
            std::erase_if(part.ports, [of](PortAt at) { return at.of != of; });
            if (part.ports.empty())
                continue;
            replica.apply(part);
            replica.run(random.below(static_cast<u32>(longestMs / switches) + 1));
        }
    follower.lookAtAll();
}

/// Has the timers stand as at the moment of the snapshots; where those tell nothing, anywhere.
void comeToMoment(Replica& replica, const Phases& phases, simulation::Random& random) {
    replica.run(random.below(static_cast<u32>(replica.longestLeaveAllMs())));
    if (phases.ports.empty())
        return;
    replica.setPhases(phases, replica.leadMs());
    replica.run(replica.leadMs());
    replica.setPhases(phases, 0);
}

/// Puts the changes in when they are to come.
void makeChanges(Replica& replica, Follower& follower, const Asked& asked,
                 simulation::Random& random, Run& run) {
    const auto anyMs = static_cast<u32>(replica.longestLeaveAllMs());
    // People and programs are not exact to the millisecond.
    constexpr u32 kInexactMs = 30;
    replica.run(asked.settings.afterMs ? *asked.settings.afterMs + random.below(kInexactMs)
                                       : random.below(anyMs));
    const bool onlyTimes = std::ranges::all_of(asked.changes, isOfTimes);
    if (!onlyTimes && std::ranges::any_of(asked.changes, isOfTimes)) {
        applyTimes(replica, follower, asked.changes, random);
        run.ended = runToRest(replica, follower, replica.calmMs()) && run.ended;
        replica.run(random.below(static_cast<u32>(replica.longestLeaveAllMs())));
    }
    follower.begin(asked.wanted);
    if (onlyTimes)
        applyTimes(replica, follower, asked.changes, random);
    for (const Change& each : asked.changes)
        if (!isOfTimes(each))
            replica.apply(each);
    follower.lookAtAll();
}

void noteWhatHappened(const Network& network, Follower& follower, Run& run) {
    run.quietMs = follower.lastChangeMs();
    if (const auto ports = follower.framesUntilQuiet(); !ports.empty()) {
        run.mostFrames = ports.front().frames;
        run.busiest = nameOf(network, ports.front().at);
    }
    run.moments = follower.moments();
    run.reaches = reachesOf(network, follower.histories());
}

Run runOnce(const Asked& asked, u64 seed) {
    Run run;
    simulation::Random random(seed);
    Replica replica(asked.network, {seed, asked.settings.delayMs, asked.settings.outageMs});
    Follower follower(replica);
    const u64 calmMs = replica.calmMs();
    replica.start();
    follower.begin(asked.wanted);
    run.ended = runToRest(replica, follower, calmMs);
    replica.settle();
    follower.lookAtAll();
    run.restBefore = countRest(replica, follower);
    comeToMoment(replica, asked.phases, random);
    const Network reached = stateOf(replica);
    run.unlike = compareNetworks(asked.before, reached);

    makeChanges(replica, follower, asked, random, run);
    run.ended = runToRest(replica, follower, std::max(calmMs, replica.calmMs())) && run.ended;
    noteWhatHappened(asked.network, follower, run);
    run.after = compareNetworks(reached, stateOf(replica));
    run.restAfter = countRest(replica, follower);
    run.problems = replica.problems();
    return run;
}

/// The ends that runs came to, those of most runs first.
std::vector<Ending> endingsOf(const std::vector<Run>& runs) {
    std::vector<Ending> endings;
    for (const Run& run : runs) {
        const auto known = std::ranges::find(endings, run.after, &Ending::differences);
        if (known == endings.end())
            endings.push_back({1, run.after});
        else
            known->runs++;
    }
    std::ranges::stable_sort(endings, std::greater<>(), &Ending::runs);
    return endings;
}

Range rangeOf(const std::vector<Run>& runs, u64 Run::*figure) {
    std::vector<u64> values;
    values.reserve(runs.size());
    for (const Run& run : runs)
        values.push_back(run.*figure);
    std::ranges::sort(values);
    return {values[values.size() / 2], values.front(), values.back()};
}

}  // namespace

Forecast forecastOf(const Network& network, const std::vector<Change>& changes,
                    const ForecastSettings& settings) {
    const Asked asked{.network = network,
                      .changes = changes,
                      .settings = settings,
                      .before = withoutDefaultVlan(network),
                      .phases = phasesOf(network),
                      .wanted = wantedAfter(network, changes)};
    std::vector<Run> runs;
    for (u32 seed = 1; seed <= settings.runs; ++seed)
        runs.push_back(runOnce(asked, seed));
    Forecast forecast;
    forecast.runs = settings.runs;
    for (const Change& each : changes)
        forecast.changes.push_back(each.text);
    forecast.afterMs = settings.afterMs;
    forecast.portsKnown = asked.phases.ports.size();
    forecast.portsRunning = asked.phases.running;
    forecast.ended = std::ranges::all_of(runs, &Run::ended);
    forecast.quietMs = rangeOf(runs, &Run::quietMs);
    forecast.mostFrames = rangeOf(runs, &Run::mostFrames);
    forecast.endings = endingsOf(runs);
    std::ranges::stable_sort(runs, {}, &Run::quietMs);
    Run& middle = runs[runs.size() / 2];
    forecast.busiest = middle.busiest;
    forecast.restBefore = middle.restBefore;
    forecast.restAfter = middle.restAfter;
    forecast.reaches = std::move(middle.reaches);
    forecast.moments = std::move(middle.moments);
    forecast.unlike = std::move(middle.unlike);
    forecast.problems = std::move(middle.problems);
    return forecast;
}

}  // namespace network
