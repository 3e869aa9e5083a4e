// SPDX-License-Identifier: MIT
//
// The state of the software switch: how it comes out of a configuration, and how an administrator
// changes it. Owned and locked by SoftSwitch.
#pragma once

#include <string>

#include "platform/config/host_config.h"
#include "platform/switch/switch_state.h"

namespace platform {

SwitchPort softPortFrom(const PortConfig& config);

SwitchState softStateFrom(const SwitchConfig& config);

/// Applies one change of an administrator. On a result other than Ok `state` may be half changed:
/// the caller works on a copy.
HostStatus applyChange(const SwitchChangeRecord& record, SwitchState& state, std::string& error);

}  // namespace platform
