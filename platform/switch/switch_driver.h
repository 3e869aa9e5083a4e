// SPDX-License-Identifier: MIT
//
// The switch behind the contract: ports, VLANs, memberships. The contract calls qorIf*, qorVlan*
// and qorIndexTrans (contract_calls.cpp) check their arguments and hand them to the installed
// driver; the frame layer asks it which ports take part. Drivers are siblings and pass the same
// contract tests (tests/unit/switch/driver_contract.h).
//
// Locking: a driver is called by the protocol task (under the daemon's lock), the command thread
// and the receive thread at the same time, and guards itself. Its reads come from memory, without a
// system call, and it never calls back into the daemon. Every bool result: false when the call had
// no effect; outputs are untouched then.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "platform/contract/qor_if.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/host.h"
#include "platform/model/mac_address.h"
#include "platform/model/port.h"
#include "platform/model/switch_change.h"
#include "platform/model/vlan_ranges.h"
#include "platform/switch/admitted.h"

namespace platform {

/// What the attributes of a port read.
struct PortState {
    bool linkUp;
    bool eligible;  ///< a switch port that may run the protocol: not a member of an aggregation
    u32 mtu;        ///< bytes
    u32 pvid;
    MacAddress mac;
};

/// What the frame layer needs to know about a port that a frame arrived at.
struct FramePolicy {
    u32 unit = 0;  ///< that the frame counts for: the port, or its aggregation; 0: no such port
    bool active = false;  ///< the platform is in the active role
    bool linkUp = false;
    bool mvrp = false;  ///< MVRP frames of the unit reach the daemon
    bool gvrp = false;  ///< GVRP frames of the unit reach the daemon
    /// While it takes no part, the frame layer passes its frames on to the other ports. False where
    /// the switch itself does that.
    bool forwarded = true;

    /// The port takes part: the switch itself does not forward its frames to the group address.
    bool takesPart() const { return active && (mvrp || gvrp); }
};

class FactPage;

/// Where to read, without a lock, what is asked for each received frame, and for each VLAN of one;
/// as old as the driver.
struct SwitchFacts {
    const FactPage& page;
    /// Counts, from 1, what changes the answer of framePolicy(), egressPort() or of the permit
    /// lists in portVlans(): who keeps one of them looks here whether it still holds. It is read
    /// before the question is asked.
    const std::atomic<u32>& changes;
};

/// A port as the command channel lists it; what the frame layer knows is added by the caller.
struct PortSummary {
    u32 unit;
    QorEndType endType;
    PortState state;
    bool mvrp;
    bool gvrp;
    u32 aggregation;  ///< unit of the aggregation the port is a member of, 0 none
    std::string name;
    /// How often others took away what keeps the switch from forwarding the port's protocol frames,
    /// where it takes something.
    u32 guardLost = 0;
    /// They do so again and again: until then, monotonic ms, that counts as going on; 0: they do
    /// not.
    u64 guardDisputedUntilMs = 0;
    u32 maxVlans = 0;  ///< that may be registered at a time; 0: no limit
};

class SwitchDriver {
  public:
    virtual ~SwitchDriver() = default;

    // Ports. A unit is a port or an aggregation.
    virtual bool portState(u32 unit, PortState& state) const = 0;
    virtual bool portName(u32 unit, std::string& name) const = 0;
    virtual bool portVlans(u32 unit, VlanSet which, VlanBitmap& vlans) const = 0;
    /// Whether the port carries the VLAN by its permit list, tagged or untagged, existing or not.
    virtual bool permits(u32 unit, u32 vid) const = 0;
    /// Whether the port may register the VLAN, which the daemon asks before it does.
    virtual Admission admit(u32 unit, u32 vid) = 0;
    /// Whether the frames of protocol kProtocolMvrp or kProtocolGvrp reach the daemon.
    virtual bool setProtocol(u32 unit, u32 protocol, bool enabled) = 0;
    /// Adds dynamic tagged memberships. All VLANs have to exist.
    virtual bool addDynamic(u32 unit, const VlanBitmap& vlans) = 0;
    /// Removes dynamic memberships; all of them, whatever `vlans` says, on a port that does not run
    /// MVRP or in the standby role. A port that was just deleted has none left: that succeeds too.
    virtual bool removeDynamic(u32 unit, const VlanBitmap& vlans) = 0;

    /// What the driver shows in place, to the daemon and to the contract's calls; null: nothing.
    virtual const SwitchFacts* facts() const { return nullptr; }

    // VLANs.
    virtual std::optional<QorVlanType> vlanType(u32 vid) const = 0;
    /// Creates, as dynamic, those that do not exist.
    virtual bool createDynamic(const VlanBitmap& vlans) = 0;
    /// Deletes those that are dynamic and that no port is a dynamic member of.
    virtual bool deleteDynamic(const VlanBitmap& vlans) = 0;
    /// Describes a port, an aggregation or a VLAN interface; one that was just deleted too.
    virtual bool describeIndex(u32 index, QorIndexInfo& info) const = 0;

    /// A standby that becomes active adopts the memberships that it mirrored, as
    /// adoptMemberships(), and reports its links down and up once more, so that the daemon declares
    /// again.
    virtual void setRole(HostRole role) = 0;
    /// Notes the dynamic memberships that are there now and that this daemon did not add. They
    /// stay, so that no traffic is lost, until removeUnclaimed().
    virtual void adoptMemberships() = 0;
    /// Removes the adopted memberships that the daemon has not added itself in the meantime, and
    /// the dynamic VLANs that lose their last member by it. Called one leave-all and one leave time
    /// after the daemon began.
    /// @return memberships removed
    virtual u32 removeUnclaimed() = 0;

    // Frames.
    virtual FramePolicy framePolicy(u32 port) const = 0;
    /// @return the port whose cable a frame for `unit` goes out of: the unit itself, or a member of
    ///         an aggregation; 0 when the unit does not exist or has no port with a link
    virtual u32 egressPort(u32 unit) const = 0;

    // Command channel.
    virtual DriverKind kind() const = 0;
    /// The ports above `unit`, ascending, at most `limit`.
    virtual std::vector<PortSummary> listPorts(u32 unit, std::size_t limit) const = 0;
    /// A change that an administrator asks for; reported to the daemon by route messages. All of it
    /// happens or none. PortRepair brings the port to what is wanted of it, at once, whoever
    /// disputes it, and tells the daemon that the port is no member of the named VLANs: it takes
    /// out what nobody has registered, and puts in what is declared again.
    /// @param error  receives what was wrong and what is allowed
    virtual HostStatus change(const SwitchChangeRecord& record, std::string& error) = 0;
};

/// Installs the driver behind the contract; null takes it out. The caller owns it and keeps it
/// until no thread calls the contract any more.
void installSwitchDriver(SwitchDriver* driver);
/// @return the installed driver, or null
SwitchDriver* switchDriver();

}  // namespace platform
