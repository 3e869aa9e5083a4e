// SPDX-License-Identifier: MIT
//
// An interface for one VLAN, as the kernel has it. A plain record.
#pragma once

#include <string>

#include "platform/contract/types.h"

namespace platform {

/// An interface for one VLAN on top of another, with the kernel's own registration protocols.
struct VlanDevice {
    u32 index = 0;
    std::string name;
    u32 lower = 0;  ///< index of the interface below
    u32 vid = 0;
    bool mvrp = false;  ///< the kernel declares its VLAN by MVRP
    bool gvrp = false;

    bool operator==(const VlanDevice&) const = default;
};

}  // namespace platform
