// SPDX-License-Identifier: MIT
//
// A switch as one snapshot tells of it: what the network is made of. Plain records without state of
// their own; sets of VLANs are bitmaps, so that thousands of ports fit memory and whole sets are
// worked on at a time. Times are milliseconds.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/model/vlan_ranges.h"

namespace network {

using platform::VlanBitmap;

/// An address as a number, 0 for none.
using Mac = u64;

/// Somebody whose PDUs came in at a port.
struct Neighbour {
    Mac mac = 0;
    bool gvrp = false;  ///< it spoke GVRP last
    u64 ageMs = 0;
    bool lost = false;
};

/// VLANs that neighbours declare and that did not come onto the port.
struct Refused {
    std::string reason;  ///< key of the snapshot: notPermitted, forbidden, fixed, tooMany, ...
    VlanBitmap vlans{};
};

/// VLANs to which the same happened at the same time.
struct VlanAge {
    VlanBitmap vlans{};
    u64 ageMs = 0;
};

enum class Registration { Normal, Fixed, Forbidden };

struct Port {
    std::string name;
    u32 number = 0;
    Mac mac = 0;
    bool linkUp = false;
    bool enabled = false;   ///< runs the protocol
    bool eligible = false;  ///< may run it
    bool loop = false;      ///< a port of its own switch is at the other end
    Registration registration = Registration::Normal;
    bool quiet = false;      ///< participant mode: declares nothing by itself
    bool noObserve = false;  ///< participant mode
    u32 joinMs = 0;          ///< 0: it does not run the protocol
    u32 leaveMs = 0;
    u32 leaveAllMs = 0;
    std::optional<u32> periodicMs;  ///< 0: no periodic timer; nothing: it does not run the protocol
    u32 pvid = 0;
    u32 maxVlans = 0;     ///< 0: no limit
    u32 aggregation = 0;  ///< number of the aggregation that it is a member of, 0: none
    bool isAggregation = false;
    u32 mtu = 0;               ///< bytes, 0: not told
    bool blocked = false;      ///< by the spanning tree
    bool answersIeee = false;  ///< sends the standard's form
    bool heardIeee = false;    ///< its neighbour speaks the standard's form
    std::string cable;         ///< what it is connected to, as its configuration says
    std::string cableError;    ///< what keeps that from working; empty: nothing
    Mac heardLast = 0;         ///< source of the last protocol frame, whether it took part or not
    std::vector<Neighbour> neighbours;
    std::optional<u64> leaveAllSentMs;   ///< ago; nothing: never, or not told
    std::optional<u64> leaveAllHeardMs;  ///< the same

    VlanBitmap permitted{};
    VlanBitmap tagged{};  ///< of `permitted`
    VlanBitmap registered{};
    VlanBitmap declared{};
    VlanBitmap member{};
    VlanBitmap learnt{};  ///< of `member`
    VlanBitmap heard{};   ///< declared by the neighbour
    std::vector<Refused> refused;
    std::vector<VlanAge> heardAges;
    std::vector<VlanAge> withdrawnAges;
};

/// What LLDP says of the other end of an interface.
struct LldpNeighbour {
    std::string interface;
    std::string system;
    std::string port;
    Mac chassis = 0;  ///< 0: it is not a MAC address
};

struct Switch {
    std::string name;  ///< unique in its network
    std::string hostName;
    std::string source;  ///< the file, for people
    u64 takenMs = 0;     ///< since the epoch
    u64 uptimeMs = 0;
    std::optional<u64> nextApplyMs;  ///< until pending memberships are applied; nothing: not told
    std::string version;
    bool linux = false;  ///< drives a bridge of the kernel
    bool standby = false;
    bool enabled = false;                                 ///< MVRP runs
    bool gvrp = false;                                    ///< it speaks GVRP
    u64 pending = 0;                                      ///< changes that wait
    std::optional<std::vector<std::string>> corrections;  ///< that are on; nothing: not told
    VlanBitmap staticVlans{};
    VlanBitmap learntVlans{};
    std::vector<Port> ports;
    std::vector<LldpNeighbour> lldp;
};

/// Whether a port takes part in the protocol now. One that does not hands the frames of its
/// neighbour on to its switch's other ports, like any multicast.
inline bool talks(const Switch& each, const Port& port) {
    return each.enabled && port.enabled && port.linkUp && !port.loop && !each.standby;
}

/// A line about something that could not be read or used as it is: everything else goes on.
using Problems = std::vector<std::string>;

}  // namespace network
