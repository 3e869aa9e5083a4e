// SPDX-License-Identifier: MIT
//
// VLAN entries of a bridge and its ports as netlink messages: the list within a link message, the
// entries of a VLAN dump, and requests that add or remove ranges. Reading never looks beyond the
// bytes given; VLAN IDs outside 1 to 4094 are left out.
#pragma once

#include <array>
#include <optional>
#include <span>

#include "platform/linux/kernel.h"

struct nlmsghdr;

namespace platform {

/// Reads IFLA_AF_SPEC of an AF_BRIDGE link message.
/// @return nothing when it lists no VLAN
std::optional<KernelVlans> readVlanList(u32 index, std::span<const u8> list);

/// Interface that a VLAN message (RTM_NEWVLAN, RTM_DELVLAN) is about; nothing when it is cut short.
std::optional<u32> vlanMessageIndex(std::span<const u8> payload);

/// Adds the entries of an RTM_NEWVLAN message of a dump to `vlans`.
void readVlanMessage(std::span<const u8> payload, KernelVlans& vlans);

/// The request that asks for all entries of interface `index`, or of all for 0. To be sent as a
/// dump.
class VlanDumpRequest {
  public:
    explicit VlanDumpRequest(u32 index);
    nlmsghdr& message();

  private:
    alignas(4) std::array<u8, 32> buffer_{};
};

/// One request that adds tagged entries to a bridge port, or removes entries, with all of its
/// ranges.
class VlanChangeRequest {
  public:
    VlanChangeRequest(u32 port, VlanChange change, const VlanBitmap& vlans);
    /// The message, ready to be sent.
    std::span<u8> bytes();

  private:
    /// What takes most room are gaps of one VLAN between ranges of two: 16 bytes for 3 VLANs.
    static constexpr size_t kListBytes = size_t{(kLastVlan + 2) / 3} * 16;
    static constexpr size_t kHeadBytes = 64;  ///< headers, rounded up

    alignas(4) std::array<u8, kHeadBytes + kListBytes> buffer_;
};

}  // namespace platform
