// SPDX-License-Identifier: MIT
//
// State of the software switch: plain records, and what its attributes mean in terms of them.
// Owned and locked by SoftSwitch; a copy is a snapshot.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "platform/config/host_config.h"
#include "platform/switch/route_message.h"
#include "platform/switch/switch_driver.h"

namespace platform {

/// Units are below the VLAN interfaces.
inline constexpr u32 kLastUnit = kVlanInterfaceBase - 1;
inline constexpr u32 kDefaultVlan = 1;

struct SoftPort {
    u32 unit = 0;
    QorEndType endType = QorEndType::Port;
    bool linkUp = true;    ///< of the port itself; see SoftState::linkUp()
    bool eligible = true;  ///< as configured; see SoftState::eligible()
    bool mvrp = false;     ///< protocol kProtocolMvrp enabled
    bool gvrp = false;     ///< protocol kProtocolGvrp enabled
    u32 mtu = 1500;        ///< bytes
    u32 pvid = kDefaultVlan;
    u32 aggregation = 0;  ///< unit, 0 none
    std::array<u8, 6> mac{};
    std::array<char, kNameBytes> name{};  ///< terminated
    VlanBitmap tagged{};                  ///< permit list, whether the VLANs exist or not
    VlanBitmap untagged{};
    VlanBitmap dynamic{};  ///< memberships that the protocol made
    VlanBitmap adopted{};  ///< of these, those that an earlier daemon or the active card made
};

SoftPort softPortFrom(const PortConfig& config);

struct SoftState {
    std::vector<SoftPort> ports;                       ///< ascending by unit
    std::array<u8, kVlanBitmapBytes * 8 + 1> kinds{};  ///< QorVlanType by VLAN ID, 0: none

    /// @return the port or aggregation, or null
    const SoftPort* find(u32 unit) const;
    SoftPort* find(u32 unit);
    bool vlanExists(u32 vid) const { return vid < kinds.size() && kinds[vid] != 0; }
    /// All VLANs that exist; with a type, those of that type.
    VlanBitmap vlans() const;
    VlanBitmap vlans(QorVlanType type) const;
    /// An aggregation with members is up while one of them is.
    bool linkUp(const SoftPort& port) const;
    bool eligible(const SoftPort& port) const { return port.eligible && port.aggregation == 0; }
    /// Those of `among` that are dynamic and that no port is a dynamic member of.
    VlanBitmap withoutMembers(const VlanBitmap& among) const;
    /// Deletes VLANs with all memberships in them.
    void eraseVlans(const VlanBitmap& vlans);
};

SoftState softStateFrom(const SwitchConfig& config);

/// Writes what became different between two states of one switch, as the daemon has to hear it:
/// what disappeared, then what appeared, then what changed. Dynamic memberships and enabled
/// protocols are the daemon's own and are not reported.
void reportDifferences(const SoftState& before, const SoftState& after, RouteBatch& batch);

/// Applies one change of an administrator. On a result other than Ok `state` may be half changed:
/// the caller works on a copy.
HostStatus applyChange(const SwitchChangeRecord& record, SoftState& state, std::string& error);

}  // namespace platform
