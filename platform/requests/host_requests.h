// SPDX-License-Identifier: MIT
//
// The host's own requests that are not about the switch: what this process is, the debug shell, and
// the machines of a port in one answer.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/channel/dispatcher.h"

namespace platform {

/// What HostInfo and Losses tell, from those who know. Asked in the command task.
struct HostFacts {
    DriverKind driver = DriverKind::SoftwareSwitch;
    std::function<std::string()> switchName;
    std::function<HostRole()> role;
    std::function<bool()> standbyConnected;
    std::function<u32()> portCount;
    std::function<LossesRecord()> losses;
};

/// Registers HostInfo, Losses, PortMachines, ShellCall and ShellList.
void registerHostRequests(Dispatcher& dispatcher, HostFacts facts);

/// Reads the machines of all VLANs of a port, by VLAN ID - 1: 4095 of them, the last stays zero.
/// The daemon's locks are held meanwhile. @return 0, or the status of the daemon's refusal
u32 readMachines(const Dispatcher& dispatcher, u32 unit, std::vector<MachineRecord>& machines);

}  // namespace platform
