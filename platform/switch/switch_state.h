// SPDX-License-Identifier: MIT
//
// State of a switch as its driver tells it to the daemon: plain records, and what the attributes
// mean in terms of them. Owned and locked by StateSwitch; a copy is a snapshot.
#pragma once

#include <array>
#include <vector>

#include "platform/contract/qor_if.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/host.h"
#include "platform/model/mac_address.h"
#include "platform/model/port.h"
#include "platform/model/switch_change.h"
#include "platform/model/vlan_ranges.h"
#include "platform/switch/admitted.h"
#include "platform/switch/route_message.h"
#include "platform/switch/switch_driver.h"

namespace platform {

/// Units are below the VLAN interfaces.
inline constexpr u32 kLastUnit = kVlanInterfaceBase - 1;
inline constexpr u32 kDefaultVlan = 1;

/// QorVlanType by VLAN ID, 0: none.
using VlanKinds = std::array<u8, kVlanBitmapBytes * 8 + 1>;

struct SwitchPort {
    u32 unit = 0;
    QorEndType endType = QorEndType::Port;
    bool linkUp = true;    ///< of the port itself; see SwitchState::linkUp()
    bool held = false;     ///< it counts as down whatever its link, see StateSwitch::hold()
    bool eligible = true;  ///< as configured; see SwitchState::eligible()
    bool mvrp = false;     ///< protocol kProtocolMvrp enabled
    bool gvrp = false;     ///< protocol kProtocolGvrp enabled
    u32 mtu = 1500;        ///< bytes
    u32 pvid = kDefaultVlan;
    u32 aggregation = 0;  ///< unit, 0 none
    MacAddress mac{};
    std::array<char, kNameBytes> name{};  ///< terminated
    VlanBitmap tagged{};                  ///< permit list, whether the VLANs exist or not
    VlanBitmap untagged{};
    VlanBitmap dynamic{};  ///< memberships that the protocol made
    VlanBitmap adopted{};  ///< of these, those that an earlier daemon or the active card made
    u32 maxVlans = 0;      ///< VLANs that may be registered at a time, 0 no limit
    VlanBitmap kept{};     ///< of `tagged`: not permitted any more, and registered still
    RecentlyAdmitted admitted;
    u32 guardLost = 0;             ///< as PortSummary
    u64 guardDisputedUntilMs = 0;  ///< as PortSummary

    bool isUp() const { return linkUp && !held; }
};

struct SwitchState {
    std::vector<SwitchPort> ports;  ///< ascending by unit
    VlanKinds kinds{};

    /// @return the port or aggregation, or null
    const SwitchPort* find(u32 unit) const;
    SwitchPort* find(u32 unit);
    bool vlanExists(u32 vid) const { return vid < kinds.size() && kinds[vid] != 0; }
    /// Whether all of a set exist.
    bool allExist(const VlanBitmap& vlans) const;
    /// All VLANs that exist; with a type, those of that type.
    VlanBitmap vlans() const;
    VlanBitmap vlans(QorVlanType type) const;
    /// An aggregation with members is up while one of them is.
    bool linkUp(const SwitchPort& port) const;
    bool eligible(const SwitchPort& port) const { return port.eligible && port.aggregation == 0; }
    /// Those of `among` that are dynamic and that no port is a dynamic member of.
    VlanBitmap withoutMembers(const VlanBitmap& among) const;
    /// Deletes VLANs with all memberships in them.
    void eraseVlans(const VlanBitmap& vlans);
};

/// Writes what became different between two states of one switch, as the daemon has to hear it:
/// what disappeared, then what appeared, then what changed. Dynamic memberships and enabled
/// protocols are the daemon's own and are not reported.
void reportDifferences(const SwitchState& before, const SwitchState& after, RouteBatch& batch);

}  // namespace platform
