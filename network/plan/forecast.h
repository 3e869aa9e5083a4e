// SPDX-License-Identifier: MIT
//
// What changes will do to a network: it is run in the simulation several times, which differ in
// what nobody knows. Where timers stand snapshots tell, but for ports of which they do not; when
// the change comes may be said, and is any moment of a LeaveAll time otherwise; how late each timer
// is, by a millisecond, is chance.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "network/diff/diff.h"
#include "network/plan/reach.h"

namespace network {

struct ForecastSettings {
    u32 runs = 5;
    u32 delayMs = 1;               ///< of each cable
    u64 outageMs = 500;            ///< of a switch that restarts
    std::optional<u64> afterMs{};  ///< when the change comes, since the newest snapshot
};
inline constexpr u32 kMostRuns = 100;

/// A figure of all runs.
struct Range {
    u64 middle = 0;
    u64 least = 0;
    u64 most = 0;
};

/// How the network is at the end of some runs.
struct Ending {
    u32 runs = 0;
    std::vector<Difference> differences;  ///< from before the change
};

struct Forecast {
    std::vector<std::string> changes;
    std::optional<u64> afterMs;  ///< as it was asked for
    std::size_t portsKnown = 0;  ///< whose LeaveAll timers snapshots tell
    std::size_t portsRunning = 0;
    u32 runs = 0;
    bool ended = true;    ///< every run became quiet
    Range quietMs;        ///< from the change to the last membership that came or went
    Range mostFrames;     ///< that one port sent until then
    std::string busiest;  ///< that port; empty: none sent any
    u64 restBefore = 0;   ///< frames a minute of the busiest port at rest
    u64 restAfter = 0;
    std::vector<Reach> reaches;      ///< of the run in the middle, the worst first
    std::vector<Moment> moments;     ///< of that run
    std::vector<Difference> unlike;  ///< snapshots, and the simulation before the change
    std::vector<Ending> endings;     ///< all that runs came to, those of most runs first
    Problems problems;               ///< what could not be put in as it is
};

/// Runs the network. @param changes  at least one, as readChanges() gives them
Forecast forecastOf(const Network& network, const std::vector<Change>& changes,
                    const ForecastSettings& settings);

}  // namespace network
