// SPDX-License-Identifier: MIT
//
// One at a time at a port's ingress. Two daemons, with a bridge each, meet at a port that moves:
// the one that it leaves finds no filter but its own and removes the qdisc, and a guard that the
// other adds just then would go with it. The kernel has no request for "remove it if it is empty",
// so they take turns.
//
// Whose turn it is, says a name of the abstract kind, one for each interface: the daemons share a
// network namespace, whatever else they do not, and the name goes with its process. Anybody may
// take such a name. So nobody is waited for longer than the patience; then things go on without a
// turn, and a guard that is lost is seen and put back.
#pragma once

#include <chrono>

#include "platform/contract/types.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {

/// Many times what a turn takes, and half of what a request of the driver is waited for.
inline constexpr std::chrono::milliseconds kGuardPatience{125};

/// Holds the turn at a port until it is destroyed. Blocks until it has it, or for the patience.
class GuardTurn {
  public:
    /// @param port  index of the interface, in the network namespace of this process
    explicit GuardTurn(u32 port, std::chrono::milliseconds patience = kGuardPatience);

    /// Whether nobody else has the turn; for tests.
    bool isHeld() const { return name_.isOpen(); }

  private:
    Descriptor name_;  ///< of the socket that bears the name
};

}  // namespace platform
