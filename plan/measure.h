// SPDX-License-Identifier: MIT
//
// Runs a planned network in virtual time, on the engine of the simulation, and measures it: VLANs
// appear on one switch, spread, rest, and are deleted again.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "plan/layout.h"
#include "platform/contract/corrections.h"

namespace plan {

struct Request {
    u32 vlans = 1;                ///< that the first switch gets and loses
    u32 delayMs = 1;              ///< of each cable
    std::optional<u32> restMs{};  ///< how long the traffic at rest is counted; 0: not at all
    std::optional<CorrectionSet> corrections{};  ///< in place of the layout's
};

/// Frames that the switches sent while something lasted. A frame counts once, where it was sent;
/// bytes are those of the frame without preamble and checksum.
struct Traffic {
    u64 frames = 0;
    u64 bytes = 0;
    u64 mostFrames = 0;  ///< of one port
    u64 mostBytes = 0;   ///< of one port
};

struct Phase {
    bool ended = false;  ///< what it waits for came to pass
    u64 ms = 0;          ///< virtual time until then
    Traffic traffic;
};

struct Measurement {
    u32 switches = 0;
    u32 ports = 0;     ///< on which MVRP runs, of all switches
    u32 diameter = 0;  ///< switches on the longest way
    u32 vlans = 0;
    std::string origin;  ///< the switch that got the VLANs, at an end of the longest way
    Phase join;          ///< until every switch is a member of all on its port to the origin
    std::optional<Phase> rest;
    Phase leave;           ///< until no switch is a member of any on that port
    u64 daemonBytes = 0;   ///< of pools and timers, the most that one switch's daemon touched
    u64 processBytes = 0;  ///< of this process at its largest
};

/// What of a measurement is known when it ends: of `Begun` the network, of `Left` everything.
enum class Stage { Begun, Joined, Rested, Left };

/// Told of each stage when it ends, as one of a large network takes minutes. `Rested` only comes
/// when the time at rest is counted.
using Watcher = std::function<void(Stage, const Measurement&)>;

/// Measures a layout without a problem. The VLANs are the lowest from 2 on that are static nowhere;
/// there have to be as many.
Measurement measure(const Layout& layout, const Request& request, const Watcher& watch);

/// How many VLANs a layout leaves to be measured with.
u32 freeVlans(const Layout& layout);

}  // namespace plan
