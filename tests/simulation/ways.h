// SPDX-License-Identifier: MIT
//
// Continuity: between two switches that both have a VLAN throughout, no port of the way ever leaves
// it, whatever the others do. A network has a few such ways; the steps that would cut one, or
// lose its frames, are left out, and every act of a switch on it is looked at.
#pragma once

#include <string>
#include <vector>

#include "tests/simulation/step.h"

namespace simulation {

/// What a static VLAN that goes leaves on a port: the time that the platform keeps the port in it.
inline constexpr u64 kLingerMs = 30'000;

/// Chooses ways through a network whose cables are laid, gives their ends the VLAN, and has every
/// port on them admit it. The daemons have not started.
std::vector<Way> makeWays(Network& network, const Plan& plan, Random random);

/// Whether a step would cut one of the ways, or take its VLAN from one of its ends.
bool cutsWay(const Network& network, const std::vector<Way>& ways, const Step& step);

/// Follows the ways of one network while it runs.
class Continuity {
  public:
    Continuity(const Network& network, const std::vector<Way>& ways);

    /// A switch has acted.
    void look(const Node& node);
    /// From now on nothing is promised.
    void stop() { slots_.clear(); }
    /// Checks that the ways are there, some time after the start. @return what is wrong, or empty
    std::string missing() const;
    /// @return the first departure that was seen, or empty
    const std::string& problem() const { return problem_; }

  private:
    /// One port of one way.
    struct Slot {
        PortEnd end;
        u32 vid = 0;
        bool joined = false;    ///< it has been there
        bool isStatic = false;  ///< the VLAN was static there when last looked at
        u64 lingerMs = 0;       ///< until then the platform keeps it there
    };

    bool carries(Slot& slot, const Node& node) const;

    const Network& network_;
    std::vector<Slot> slots_;
    std::string problem_;
};

}  // namespace simulation
