// SPDX-License-Identifier: MIT
//
// The platform's requests about the switch, for the command server. Each takes the request's header
// and value, appends the reply's value, and returns its status (0, or a HostStatus). With a status
// other than 0 the reply's value, where there is one, is a text: what was wrong and what is
// allowed.
//
// Called by the command thread, without the daemon's lock.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "platform/channel/dispatcher.h"
#include "platform/net/port_cables.h"
#include "platform/switch/switch_driver.h"

namespace platform {

/// What the requests are about. All outlive the dispatcher; without cables a port has none.
struct ServedSwitch {
    SwitchDriver& driver;
    PortCables* cables = nullptr;
    /// The descriptor that came with the request that is being served; absent: there never is one.
    std::function<Descriptor()> takeDescriptor = {};
};

/// Registers PortList, PortVlans, SwitchVlans, PortCounters and SwitchChange.
void registerSwitchRequests(Dispatcher& dispatcher, const ServedSwitch& served);

u32 handlePortList(const ServedSwitch& served, const RequestHeader& header,
                   std::span<const u8> value, std::vector<u8>& reply);
u32 handlePortVlans(const ServedSwitch& served, const RequestHeader& header,
                    std::span<const u8> value, std::vector<u8>& reply);
u32 handleSwitchVlans(const ServedSwitch& served, const RequestHeader& header,
                      std::span<const u8> value, std::vector<u8>& reply);
u32 handlePortCounters(const ServedSwitch& served, const RequestHeader& header,
                       std::span<const u8> value, std::vector<u8>& reply);
u32 handleSwitchChange(const ServedSwitch& served, const RequestHeader& header,
                       std::span<const u8> value, std::vector<u8>& reply);

}  // namespace platform
