// SPDX-License-Identifier: MIT
//
// The platform's requests about the switch, for the command server. Each takes the request's header
// and value, appends the reply's value, and returns its status (0, or a HostStatus). With a status
// other than 0 the reply's value, where there is one, is a text: what was wrong and what is
// allowed.
//
// Called by the command thread, without the daemon's lock.
#pragma once

#include <span>
#include <vector>

#include "platform/command/wire.h"

namespace platform {

u32 handlePortList(const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply);
u32 handlePortVlans(const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply);
u32 handleSwitchVlans(const RequestHeader& header, std::span<const u8> value,
                      std::vector<u8>& reply);
u32 handlePortCounters(const RequestHeader& header, std::span<const u8> value,
                       std::vector<u8>& reply);
u32 handleSwitchChange(const RequestHeader& header, std::span<const u8> value,
                       std::vector<u8>& reply);

}  // namespace platform
