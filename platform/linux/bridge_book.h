// SPDX-License-Identifier: MIT
//
// What the driver knows of its bridge: how the kernel was last seen, and what of it is the daemon's
// own. Plain records and what follows from them; owned and locked by LinuxSwitch.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/config/host_config.h"
#include "platform/linux/kernel.h"
#include "platform/switch/switch_state.h"

namespace platform {

/// Entries that stay for a while after the reason for them went.
struct Lingering {
    VlanBitmap vlans{};
    u64 untilMs = 0;  ///< on the driver's clock
};

/// Something of ours that others remove: it is put back at once a few times, then later and later.
/// Times are on the driver's clock.
struct Dispute {
    u64 untilMs = 0;  ///< it is not put back before; 0: at any time
    u64 lastMs = 0;   ///< of the last removal
    u32 removals = 0;

    /// Others removed it once more. @return how long it is held back, ms; 0: it is put back at once
    u64 note(u64 nowMs);
    /// Until when it counts as disputed; 0: it does not.
    u64 disputedUntilMs() const;
};

struct BridgePort {
    KernelLink link;
    VlanBitmap
        carried{};  ///< entries that the kernel has: as last read, and as changed by us since
    VlanBitmap untagged{};             ///< of these
    u32 pvid = 0;                      ///< 0 none
    VlanBitmap added{};                ///< entries that the daemon made, as in the ledger
    bool guard = false;                ///< ours is on the port, as last read or set
    bool guardFailed = false;          ///< it could not be set or removed, and that was said
    u32 guardLost = 0;                 ///< how often others took it away
    Dispute guardDispute;              ///< about the guard
    bool unsure = false;               ///< a change failed: `added` may name what is not there
    u32 generation = 0;                ///< a port that comes anew under an old index has another
    std::vector<Lingering> lingering;  ///< of `added`
    VlanBitmap disputed{};             ///< entries that are held back
    Dispute dispute;                   ///< about entries

    VlanBitmap foreign() const;
    /// Entries of `added` that can not be ours any more: the daemon's are tagged only.
    VlanBitmap takenOver() const;
};

struct BridgeBook {
    KernelLink bridge;              ///< index 0: there is none
    VlanBitmap bridgeVlans{};       ///< entries of the bridge device itself
    std::vector<BridgePort> ports;  ///< ascending by index

    /// @return the port, or null
    const BridgePort* find(u32 index) const;
    BridgePort* find(u32 index);
    /// What others configured anywhere on the bridge; VLAN 1 by `vlanOne`.
    VlanBitmap staticVlans(VlanOne vlanOne) const;
};

/// The bridge of that name as the kernel tells; nothing of it is the daemon's yet. Ports whose
/// index does not fit a unit are left out.
BridgeBook readBook(std::span<const KernelLink> links, std::span<const KernelVlans> vlans,
                    const std::string& bridge);

/// Whether the daemon can speak for a bridge: it is VLAN-aware, and has one context for all VLANs
/// (with multiple spanning trees, IEEE 802.1Q 13.5, MVRP would need one for each tree).
bool isUsable(const KernelLink& bridge);

/// What is seen of a link; not forwarding counts as down. @param usable  isUsable() of its bridge
bool isUp(const KernelLink& link, bool usable);

/// A port as the daemon sees it: without protocols and memberships.
SwitchPort describePort(const BridgePort& port, const VlanBitmap& staticVlans,
                        const LinuxBridgeConfig& config, bool usable);

}  // namespace platform
