// SPDX-License-Identifier: MIT
//
// What happens to a simulated switch from outside its daemon's protocol: changes of the platform,
// with the route messages that a platform sends for them, and requests of management. Each runs in
// a turn of the switch and leaves what is to be read queued.
#pragma once

#include <optional>

#include "platform/switch/route_message.h"
#include "platform/virtual/network/node.h"

namespace simulation {

/// Queues the messages of a change for the daemon.
void notify(Node& node, const platform::RouteBatch& batch);

/// A link that comes back is reported as down and then up once more.
void setLink(Node& node, u32 unit, bool up);
/// Creates the VLAN as static, or makes a dynamic one static.
void makeVlanStatic(Node& node, u32 vid);
void deleteVlan(Node& node, u32 vid);
void permitVlan(Node& node, u32 unit, u32 vid, bool permitted);
void setEligible(Node& node, u32 unit, bool eligible);
/// The port's configuration is reset by the platform; management's wish is gone with it.
void resetPort(Node& node, u32 unit);

/// Management switches MVRP on a port on or off.
u32 setPortEnabled(Node& node, u32 unit, bool enabled);
u32 setPort(u32 unit, u32 attribute, u32 value);
/// Times of a port in ms; what is not given stays.
struct PortTimes {
    std::optional<u32> joinMs{};
    std::optional<u32> leaveMs{};
    std::optional<u32> leaveAllMs{};
};
/// Sets them in an order in which each fits the others at that moment. @return the first refusal
u32 setTimes(u32 unit, const PortTimes& times);
/// Has a port's LeaveAll timer expire when `ms` have passed, unless it hears a LeaveAll before.
void setLeaveAllIn(u32 unit, u32 ms);
/// An idle switch looks so often, in ms, whether memberships are pending.
inline constexpr u32 kApplyEveryMs = 1000;
/// Has memberships that are pending applied when `ms` have passed.
void setApplyIn(u32 ms);
u32 setScalar(u32 attribute, u32 value);
/// The same as the active's daemon asks a standby for it.
u32 syncScalar(u32 attribute, u32 value);

/// Starts the daemon, switches MVRP on, and on every port for which management wants it.
void startDaemonOf(Node& node);

}  // namespace simulation
