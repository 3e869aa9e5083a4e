// SPDX-License-Identifier: MIT
//
// What changes will do to a network: it is run in the simulation several times, which differ in
// when the daemons started, as nobody knows where their timers stand.
#pragma once

#include <string>
#include <vector>

#include "network/diff/diff.h"
#include "network/plan/reach.h"

namespace network {

struct ForecastSettings {
    u32 runs = 5;
    u32 delayMs = 1;     ///< of each cable
    u64 outageMs = 500;  ///< of a switch that restarts
};
inline constexpr u32 kMostRuns = 100;

/// A figure of all runs.
struct Range {
    u64 middle = 0;
    u64 least = 0;
    u64 most = 0;
};

struct Forecast {
    std::vector<std::string> changes;
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
    std::vector<Difference> after;   ///< before the change, and at the end
    Problems problems;               ///< what could not be put in as it is
};

/// Runs the network. @param changes  at least one, as readChanges() gives them
Forecast forecastOf(const Network& network, const std::vector<Change>& changes,
                    const ForecastSettings& settings);

}  // namespace network
