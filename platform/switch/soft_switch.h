// SPDX-License-Identifier: MIT
//
// The software switch: a driver that keeps everything in memory and needs no privileges. It has no
// data plane but for the forwarding of protocol frames (platform/net).
//
// Locking: as StateSwitch.
#pragma once

#include "platform/switch/soft_state.h"
#include "platform/switch/state_switch.h"

namespace platform {

class SoftSwitch final : public StateSwitch {
  public:
    explicit SoftSwitch(const SwitchConfig& config);

    /// Takes over another configuration; what becomes different is reported. Learnt memberships,
    /// dynamic VLANs and enabled protocols of ports that stay are kept.
    void reconfigure(const SwitchConfig& config);
    /// How the switch is now, to be put back by restore(). Any thread.
    SwitchState snapshot() const;
    /// Puts ports and static VLANs back as they were; what the protocol has is kept as by
    /// reconfigure(), so a port that comes back begins anew.
    void restore(SwitchState before);

    DriverKind kind() const override { return DriverKind::SoftwareSwitch; }
    HostStatus change(const SwitchChangeRecord& record, std::string& error) override;

  private:
    /// @param next  without anything of the protocol's
    void replace(SwitchState next);
};

}  // namespace platform
