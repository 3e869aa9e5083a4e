// SPDX-License-Identifier: MIT
//
// What the Linux driver asks of the kernel, in the driver's own terms: links, the VLANs of a bridge
// and its ports, the guard that keeps protocol frames from being forwarded, and notifications.
// RtnlKernel (rtnl_kernel.h) speaks netlink; tests have a kernel in memory that can be made to
// fail.
//
// Locking: none inside. The change and read calls belong to one thread at a time, which the driver
// sees to; waitDescriptor() and readEvents() belong to the monitor thread and may be called beside
// them.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/contract/types.h"
#include "platform/model/vlan_ranges.h"

namespace platform {

enum class LinkKind { Other, Bridge, Bond };

/// Spanning tree state of a bridge port, with the kernel's numbers (IFLA_BRPORT_STATE).
enum class StpState : u8 {
    Disabled = 0,
    Listening = 1,
    Learning = 2,
    Forwarding = 3,
    Blocking = 4
};

/// An interface of the daemon's network namespace.
struct KernelLink {
    u32 index = 0;
    u32 master = 0;  ///< index of the bridge or bond that it is enslaved to, 0 none
    LinkKind kind = LinkKind::Other;
    std::string name;
    std::array<u8, 6> mac{};
    u32 mtu = 0;                             ///< bytes
    bool adminUp = false;                    ///< IFF_UP
    bool carrier = false;                    ///< IFF_LOWER_UP: can be sent on
    bool bridgePort = false;                 ///< the master is a bridge
    StpState stpState = StpState::Disabled;  ///< of a bridge port
    bool vlanFiltering = false;              ///< of a bridge
    u32 defaultPvid = 0;                     ///< of a bridge; 0 none
    bool multipleTrees = false;              ///< of a bridge: a spanning tree for each MSTI

    bool operator==(const KernelLink&) const = default;
};

/// VLAN entries of a bridge port, or of the bridge device itself.
struct KernelVlans {
    u32 index = 0;
    VlanBitmap carried{};   ///< all entries
    VlanBitmap untagged{};  ///< of these, those that leave untagged
    u32 pvid = 0;           ///< 0 none

    bool operator==(const KernelVlans&) const = default;
};

/// A change, or one request's worth of it.
enum class VlanChange { Add, Remove };

enum class KernelEventKind {
    Link,         ///< a link is there or changed: `link` says how it is now
    LinkGone,     ///< `link.index` does not exist any more
    PortRemoved,  ///< `link.index` left its bridge, with all its VLAN entries
    Vlans,        ///< `vlans` holds all entries of a port or bridge as they are now
    Guard,        ///< filters of `link.index` changed: `guarded` says whether our guard is there
    Lost,         ///< notifications were lost (ENOBUFS): read everything again
};

struct KernelEvent {
    KernelEventKind kind = KernelEventKind::Lost;
    KernelLink link;
    KernelVlans vlans;
    bool guarded = false;
};

/// How a call ended. Everything but Ok has a text.
struct KernelResult {
    int error = 0;  ///< errno value, 0 done
    std::string what;

    explicit operator bool() const { return error == 0; }
};

class Kernel {
  public:
    virtual ~Kernel() = default;

    /// All links, by index.
    virtual KernelResult readLinks(std::vector<KernelLink>& links) = 0;
    /// VLAN entries of all bridges and bridge ports, by index; one without entries may be left out.
    virtual KernelResult readVlans(std::vector<KernelVlans>& vlans) = 0;
    /// Adds tagged entries to a bridge port, or removes entries; ranges are merged and sent in as
    /// few requests as possible. Adding what is there (it keeps its flags, see below) and removing
    /// what is not succeed. On failure an unknown part of the change was made.
    ///
    /// The kernel would make an existing untagged entry tagged: the caller adds only what is not
    /// there.
    virtual KernelResult changeVlans(u32 port, VlanChange change, const VlanBitmap& vlans) = 0;
    /// Drops what is sent to 01-80-C2-00-00-21 at the port's ingress, after packet sockets saw it,
    /// so that the bridge does not forward it. Setting a guard that is there, or removing one that
    /// is not, succeeds; a clsact qdisc and filters of others, among them the guards of other
    /// bridges' daemons, stay as they are.
    virtual KernelResult setGuard(u32 port, bool on) = 0;
    /// Which of the ports have our guard, as it was made. One that is not there has none.
    virtual KernelResult readGuards(std::span<const u32> ports, std::vector<u32>& guarded) = 0;

    /// Readable when readEvents() has something.
    virtual int waitDescriptor() const = 0;
    /// Appends what waits, without blocking. What this process itself changed is among it. An event
    /// says how things were when it was made, which may be before a read or change of the other
    /// thread; then another follows, so the last about something is its last state. Before Lost,
    /// everything older than it is thrown away.
    virtual void readEvents(std::vector<KernelEvent>& events) = 0;
};

}  // namespace platform
