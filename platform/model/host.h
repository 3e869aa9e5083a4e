// SPDX-License-Identifier: MIT
//
// What the process is around its daemon, and how it answers what it is asked. The values are those
// of the command channel.
#pragma once

#include "platform/contract/types.h"

namespace platform {

enum class DriverKind : u32 { SoftwareSwitch = 1, LinuxBridge = 2 };
enum class HostRole : u32 { Active = 1, Standby = 2 };

/// Statuses of the platform's own requests, beside 0 and the errno-like 22 (bad argument).
enum class HostStatus : u32 {
    Ok = 0,
    NotAllowed = 1,  ///< to a client that may only read
    NoSuchPort = 2,
    Unsupported = 38,
    BadArgument = 22,
    Exists = 17,
};

}  // namespace platform
