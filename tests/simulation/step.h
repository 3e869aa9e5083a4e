// SPDX-License-Identifier: MIT
//
// The events of a simulation: made from the seed alone, before anything runs, so that any of them
// can be left out without changing the others.
#pragma once

#include <string>
#include <vector>

#include "platform/virtual/network/network.h"
#include "platform/virtual/network/random.h"

namespace simulation {

enum class Profile : u8 {
    Calm,  ///< links and cables misbehave, VLANs become static and are deleted; no more
    Wild,  ///< everything
};

enum class StepKind : u8 {
    Wait,
    LinkDown,
    LinkUp,
    CableFaults,
    VlanStatic,
    VlanDelete,
    PortDisable,
    PortEnable,
    PermitRemove,
    PermitAdd,
    Eligible,
    RegistrationMode,
    ParticipantMode,
    Timers,
    Compliance,
    GlobalEnable,
    FailCalls,
    SocketsBusy,
    Restart,
    PortReset,
    Garbage,
    StandbyAttach,
};

struct Step {
    StepKind kind = StepKind::Wait;
    u32 afterMs = 0;  ///< virtual time that passes before it
    u32 number = 0;   ///< node or cable, modulo how many there are
    u32 unit = 0;     ///< modulo how many ports the node has
    u32 value = 0;    ///< VLAN ID; of cable faults the percentage that is corrupted
    u64 random = 0;   ///< for what is left to decide
};

struct Plan {
    u64 seed = 0;
    u32 switches = 0;
    Profile profile = Profile::Calm;
    std::vector<Step> steps;
    CorrectionSet corrections;  ///< of all daemons
    bool exact = false;         ///< the exact rules are held against it
};

/// The ports between two switches that both have a VLAN throughout.
struct Way {
    u32 vid = 0;
    u32 from = 0;
    u32 to = 0;
    std::vector<PortEnd> ports;  ///< in order, both ends of each cable
};

/// The rules are exact with all corrections.
/// @param without  corrections that the daemons lack, held to the same rules: a control
Plan makePlan(u64 seed, u32 switches, u32 steps, Profile profile, CorrectionSet corrections,
              CorrectionSet without = {});

/// Builds the switches and the cables of a plan, a tree, and starts the daemons. @return the ways
/// that no step may cut; some only in an exact network
std::vector<Way> buildNetwork(Network& network, const Plan& plan);
/// Applies a step to the network as it is; one that makes no sense there does nothing.
void applyStep(Network& network, const Step& step);
/// Ends all faults and brings links, modes and ports to where a network at rest is expected.
void endFaults(Network& network);

bool isOfCable(StepKind kind);
/// The port of a switch that a step is about.
u32 unitOf(const Node& node, const Step& step);
u32 chooseVlan(Random& random, Profile profile);

std::string describe(const Network& network, const Step& step);

}  // namespace simulation
