// SPDX-License-Identifier: MIT
//
// The platform's notifications as messages of the route socket. A message is a 24-byte header (u32
// length, u16 type), a body by type, and for changed links a list of attributes; everything is in
// the machine's byte order and padded to 4 bytes.
//
// RouteBatch collects messages of one change in order; RouteSink delivers them. Not locked: a batch
// belongs to one thread.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "platform/contract/types.h"
#include "platform/model/vlan_ranges.h"

namespace platform {

enum class RouteMessageType : u16 {
    NewLink = 0x20,
    DelLink = 0x21,
    Reset = 0x144,
    TunnelMacChange = 0x185,
};

enum class RouteAttribute : u16 {
    LinkState = 16,    ///< u8: 1 up
    VlanType = 40,     ///< u32 QorVlanType
    Eligible = 41,     ///< u32: 1 while the port may run the protocol
    Aggregation = 52,  ///< u32: unit of the aggregation that the port joined
    MemberAdded = 64,  ///< u32: unit of the port
    MemberRemoved = 65,
};

/// Groups of the route socket; a message reaches the sockets that joined its group.
enum class RouteGroup : u32 { Link = 1, Card = 33, Slot = 34, System = 42, Vlan = 85 };

/// Longest run of messages that is handed over at once: what the daemon reads with one call.
inline constexpr std::size_t kLongestRouteDatagram = 3840;

struct RouteDatagram {
    RouteGroup group;
    std::vector<u8> bytes;
};

/// Where notifications go.
class RouteSink {
  public:
    virtual ~RouteSink() = default;
    /// Called without any lock of the driver held, in the order of the changes.
    virtual void deliver(const RouteDatagram& datagram) = 0;
};

class RouteBatch {
  public:
    /// An interface came into being; `index` is a port's unit or that of a VLAN interface.
    void linkCreated(u32 index);
    void linkDeleted(u32 index);
    void linkState(u32 port, bool up);
    void eligible(u32 port, bool eligible);
    void joinedAggregation(u32 port, u32 aggregation);
    void vlanTypeChanged(u32 vid, u32 type);
    void memberAdded(u32 vid, u32 port);
    void memberRemoved(u32 vid, u32 port);
    void portReset(u32 port);
    /// @param operation  1: the tunnel takes the address, 2: it gives it back
    void tunnelMac(u32 port, u8 operation, const std::array<u8, 6>& mac);

    const std::vector<RouteDatagram>& datagrams() const { return datagrams_; }
    void deliverTo(RouteSink& sink) const;

  private:
    void append(RouteGroup group, std::span<const u8> message);
    std::vector<RouteDatagram> datagrams_;
};

}  // namespace platform
