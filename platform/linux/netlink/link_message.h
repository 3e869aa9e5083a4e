// SPDX-License-Identifier: MIT
//
// Link messages of the kernel (RTM_NEWLINK and RTM_DELLINK): those of an interface, and those that
// a bridge sends about itself and its ports. Reading only; never beyond the bytes given.
#pragma once

#include <optional>
#include <span>

#include "platform/linux/kernel.h"

namespace platform {

/// What a bridge says about a port or itself.
struct BridgePortMessage {
    u32 index = 0;
    u32 bridge = 0;  ///< its own index when the bridge speaks of itself
    std::optional<StpState> stpState;
    /// All entries. Nothing when the message lists none: the port has none, or the message was
    /// about something else.
    std::optional<KernelVlans> vlans;
};

/// Address family of a link message: AF_UNSPEC or AF_BRIDGE; nothing when it is cut short.
std::optional<u8> linkFamily(std::span<const u8> payload);

/// Reads the payload of an AF_UNSPEC message. A deleted link's message holds less; its index is
/// always there.
/// @return nothing when it is cut short or names no interface
std::optional<KernelLink> readLink(std::span<const u8> payload);

/// Reads the payload of an AF_BRIDGE message.
/// @return as above
std::optional<BridgePortMessage> readBridgePort(std::span<const u8> payload);

}  // namespace platform
