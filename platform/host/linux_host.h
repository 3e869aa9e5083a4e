// SPDX-License-Identifier: MIT
//
// What a host does for the Linux driver beside what it does for any: opens the kernel, runs the
// monitor, and turns the rules of the configuration, which know ports by name, into settings of the
// ports that are there, by unit.
//
// Locking: the command task's, once the host runs; construction and start() before, stop() at the
// end by any.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/channel/dispatcher.h"
#include "platform/config/host_config.h"
#include "platform/linux/linux_monitor.h"
#include "platform/linux/linux_switch.h"
#include "platform/linux/patient_kernel.h"

namespace platform {

/// Which ports of a bridge have a packet socket.
enum class OpenPorts {
    TakingPart,  ///< those that take part now
    Configured,  ///< and those that are about to, by the configuration
};

class LinuxHost {
  public:
    /// Throws std::runtime_error when the kernel can not be spoken to.
    explicit LinuxHost(const LinuxBridgeConfig& config);

    LinuxSwitch& driver() { return driver_; }
    /// Looks at the bridge and begins to follow it.
    /// @param portsChanged  called by the monitor thread: it hands over to the command task
    /// @param error         receives what was wrong
    bool start(std::function<void()> portsChanged, std::string& error);
    /// Ends the monitor, then the driver.
    void stop(Ending ending);

    /// The network with a port for each that is there, as the frame layer takes it. A port that is
    /// recorded is open in any case.
    SwitchConfig withPorts(const HostConfig& config, OpenPorts open) const;
    /// The management settings of the file with those of each port that is there.
    ManagementConfig withPorts(ManagementConfig management, const LinuxBridgeConfig& bridge) const;

    /// The unit of a port that is there.
    std::optional<u32> unitOf(const std::string& name) const;

    /// What of `applied` is still so: settings of ports that went, or came anew, are not.
    /// @param dispatcher  asked until the daemon has forgotten those ports too
    ManagementConfig stillApplied(ManagementConfig applied, const Dispatcher& dispatcher);

  private:
    PatientKernel kernel_;
    LinuxSwitch driver_;
    LinuxMonitor monitor_;
    std::map<u32, u32> generations_;  ///< of the ports that settings were applied to, by unit
};

}  // namespace platform
