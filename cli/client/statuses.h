// SPDX-License-Identifier: MIT
//
// Statuses that the daemon's handlers answer.
#pragma once

#include "platform/contract/types.h"

namespace cli {

enum class Status : u32 {
    Ok = 0,
    BadArgument = 22,
    NoMemory = 0x03E80001,  ///< the port's entry, or the pools, could not be made
    NoPort = 0x03E80002,    ///< MVRP is not switched on at this port
    PoolBusy = 0x03E80003,  ///< the pools could not be released
    PortUnreadable = 0x03E80010,
    GloballyOff = 0x03E80016,
    NotEligible = 0x04040002,
    TimerRange = 0x04040003,
    Failed = 0xFFFFFFFF,
};

}  // namespace cli
