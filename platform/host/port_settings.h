// SPDX-License-Identifier: MIT
//
// What the host has to follow of the daemon's settings, whoever changes them: whether MVRP is on,
// and the times of a port, which a port that is switched on has anew.
//
// Locking: the command task's.
#pragma once

#include <optional>

#include "platform/channel/dispatcher.h"

namespace platform {

enum class ChangedSetting {
    Enable,      ///< MVRP as a whole was switched on or off
    PortEnable,  ///< on a port
    PortTimes,   ///< the join or leave time of a port
};

/// What a request that was done has changed, if it is any of these.
std::optional<ChangedSetting> changedSetting(const RequestHeader& done);

bool isMvrpOn(const Dispatcher& dispatcher);

/// Times that a port has, ms.
struct PortTimes {
    u32 joinMs;
    u32 leaveMs;
    u32 leaveAllMs;

    /// Those that the daemon gives to a port which was just switched on.
    bool areTheDaemons() const;
};

/// @return nothing while MVRP is off at the port
std::optional<PortTimes> timesOf(const Dispatcher& dispatcher, u32 unit);

}  // namespace platform
