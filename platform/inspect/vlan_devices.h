// SPDX-License-Identifier: MIT
//
// Interfaces for single VLANs, as the kernel lists them. Reading only; never beyond the bytes
// given. Locking: that of the socket.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "platform/inspect/vlan_device.h"
#include "platform/linux/netlink/netlink_socket.h"

namespace platform {

/// Reads the payload of a link message. @return nothing when it is no VLAN's interface
std::optional<VlanDevice> readVlanDevice(std::span<const u8> payload);

KernelResult dumpVlanDevices(NetlinkSocket& socket, std::vector<VlanDevice>& devices);

}  // namespace platform
