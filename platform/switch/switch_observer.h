// SPDX-License-Identifier: MIT
//
// Somebody who looks on while the daemon changes the switch. Called after the driver, by whichever
// task made the contract call, under the daemon's lock: the observer guards itself, and neither
// allocates for each call nor waits.
#pragma once

#include "platform/model/vlan_ranges.h"
#include "platform/switch/admitted.h"

namespace platform {

enum class SwitchCall { Protocol, AddMembers, RemoveMembers, CreateVlans, DeleteVlans };

class SwitchObserver {
  public:
    SwitchObserver() = default;
    virtual ~SwitchObserver() = default;
    SwitchObserver(const SwitchObserver&) = delete;
    SwitchObserver& operator=(const SwitchObserver&) = delete;
    SwitchObserver(SwitchObserver&&) = delete;
    SwitchObserver& operator=(SwitchObserver&&) = delete;

    /// @param unit   0 for a call about the switch as a whole
    /// @param vlans  empty for Protocol
    /// @param done   whether the driver did it
    virtual void switchCalled(SwitchCall call, u32 unit, const VlanBitmap& vlans, bool done) = 0;
    /// The daemon was not let register a VLAN that a neighbour declares. Makes no system call.
    virtual void registrationRefused(u32 /*unit*/, u32 /*vid*/, Admission /*why*/) {}
};

/// Installs the observer of the contract's calls; null takes it out. The caller owns it.
void installSwitchObserver(SwitchObserver* observer);

}  // namespace platform
