// SPDX-License-Identifier: MIT
//
// Which command channel this daemon speaks, and how somebody of another version is told.
#pragma once

#include <string>

#include "platform/contract/types.h"

namespace platform {

/// Of framing, records and what a request does. It goes up when one of these changes so that an
/// older client is left behind; a request that is added does not count.
inline constexpr u32 kChannelVersion = 1;

/// The text of the refusal of a request that this daemon does not have: the version of the program
/// and of its channel, and what follows for whoever asked. Any thread.
std::string unknownRequest(u32 request);

}  // namespace platform
