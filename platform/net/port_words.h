// SPDX-License-Identifier: MIT
//
// How log lines call a port.
#pragma once

#include <string>

#include "platform/switch/switch_driver.h"

namespace platform {

/// Its name, or "port 3" when the switch has no such port any more. Any thread.
inline std::string nameOf(const SwitchDriver& driver, u32 unit) {
    std::string name;
    return driver.portName(unit, name) ? name : "port " + std::to_string(unit);
}

}  // namespace platform
