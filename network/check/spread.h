// SPDX-License-Identifier: MIT
//
// How far each VLAN reaches: the parts of the network that are connected for it. VLANs that are
// wanted at the same switches and carried by the same cables are looked at as one.
#pragma once

#include <vector>

#include "network/join/topology.h"

namespace network {

/// Parts of a whole by number, joined step by step.
class Parts {
  public:
    explicit Parts(std::size_t count);
    std::size_t of(std::size_t member);
    void join(std::size_t a, std::size_t b);

  private:
    std::vector<std::size_t> above_;
};

/// What the spreading of VLANs is read from, once for a network.
struct Spread {
    std::vector<VlanBitmap> wanted;   ///< by switch: where a VLAN is used
    std::vector<VlanBitmap> carried;  ///< by cable: both ends are members, and the link works
};

/// A VLAN is wanted where it is static, and where a port that leads to no switch of the network has
/// it registered. VLAN 1, which every switch has, is wanted nowhere.
Spread spreadOf(const Network& network);

/// VLANs for which the network looks alike.
struct AlikeVlans {
    VlanBitmap vlans{};
    u32 first = 0;  ///< stands for all
};
/// Only those that are wanted at two switches or more.
std::vector<AlikeVlans> alikeVlans(const Spread& spread);

/// A cable that one of these VLANs should cross and does not: it lies between two parts of the
/// network that both lead to somebody who wants it.
struct Gap {
    std::size_t cable = 0;  ///< by place in the network
    VlanBitmap vlans{};
};
/// What a port should declare: what is static on its switch, or registered on another of its ports.
VlanBitmap offeredAt(const Network& network, PortAt at);

std::vector<Gap> gapsOf(const Network& network, const Spread& spread);

}  // namespace network
