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

std::vector<VlanBitmap> wantedAfter(const Network& network, const std::vector<Change>& changes) {
    Network after = network;
    for (const Change& change : changes)
        applyToSettings(after, change);
    return spreadOf(after).wanted;
}

void applyAll(Replica& replica, Follower& follower, const std::vector<Change>& changes,
              bool ofTimes) {
    for (const Change& change : changes)
        if ((change.kind == ChangeKind::Times) == ofTimes)
            replica.apply(change);
    follower.lookAtAll();
}

bool isOfTimes(const Change& change) {
    return change.kind == ChangeKind::Times;
}

Run runOnce(const Network& network, const std::vector<Change>& changes,
            const ForecastSettings& settings, u64 seed) {
    Run run;
    Replica replica(network, {seed, settings.delayMs, settings.outageMs});
    Follower follower(replica);
    const auto wanted = wantedAfter(network, changes);
    const u64 calmMs = replica.calmMs();
    simulation::Random random(seed);
    replica.start();
    follower.begin(wanted);
    run.ended = runToRest(replica, follower, calmMs);
    replica.settle();
    follower.lookAtAll();
    replica.run(random.below(static_cast<u32>(replica.longestLeaveAllMs())));
    Network before = network;
    Network reached = replica.state();
    dropDefaultVlan(before);
    dropDefaultVlan(reached);
    run.unlike = compareNetworks(before, reached);
    run.restBefore = countRest(replica, follower);

    const bool onlyTimes = std::ranges::all_of(changes, isOfTimes);
    if (!onlyTimes && std::ranges::any_of(changes, isOfTimes)) {
        applyAll(replica, follower, changes, true);
        run.ended = runToRest(replica, follower, replica.calmMs()) && run.ended;
        // Times of one moment have the timers of all ports run together; the change comes whenever.
        replica.run(random.below(static_cast<u32>(replica.longestLeaveAllMs())));
    }
    follower.begin(wanted);
    applyAll(replica, follower, changes, onlyTimes);
    run.ended = runToRest(replica, follower, std::max(calmMs, replica.calmMs())) && run.ended;
    run.quietMs = follower.lastChangeMs();
    if (const auto ports = follower.framesUntilQuiet(); !ports.empty()) {
        run.mostFrames = ports.front().frames;
        run.busiest = nameOf(network, ports.front().at);
    }
    run.moments = follower.moments();
    run.reaches = reachesOf(network, follower.histories());
    Network ended = replica.state();
    dropDefaultVlan(ended);
    run.after = compareNetworks(reached, ended);
    run.restAfter = countRest(replica, follower);
    run.problems = replica.problems();
    return run;
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
    std::vector<Run> runs;
    for (u32 seed = 1; seed <= settings.runs; ++seed)
        runs.push_back(runOnce(network, changes, settings, seed));
    Forecast forecast;
    forecast.runs = settings.runs;
    for (const Change& change : changes)
        forecast.changes.push_back(change.text);
    forecast.ended = std::ranges::all_of(runs, &Run::ended);
    forecast.quietMs = rangeOf(runs, &Run::quietMs);
    forecast.mostFrames = rangeOf(runs, &Run::mostFrames);
    std::ranges::stable_sort(runs, {}, &Run::quietMs);
    Run& middle = runs[runs.size() / 2];
    forecast.busiest = middle.busiest;
    forecast.restBefore = middle.restBefore;
    forecast.restAfter = middle.restAfter;
    forecast.reaches = std::move(middle.reaches);
    forecast.moments = std::move(middle.moments);
    forecast.unlike = std::move(middle.unlike);
    forecast.after = std::move(middle.after);
    forecast.problems = std::move(middle.problems);
    return forecast;
}

}  // namespace network
