// SPDX-License-Identifier: MIT
//
// Changes that the command channel asks for and that are the business of the bridge: how they are
// made instead.
#include <algorithm>
#include <array>

#include "platform/linux/linux_switch.h"
#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

struct Instead {
    SwitchChangeKind kind;
    const char* advice;  ///< "%d" stands for the port, "%b" for the bridge
};

constexpr std::array<Instead, 17> kInstead = {{
    {SwitchChangeKind::PortAdd, "ip link set dev NAME master %b"},
    {SwitchChangeKind::PortDelete, "ip link set dev %d nomaster"},
    {SwitchChangeKind::PortLink, "ip link set dev %d up, or down"},
    {SwitchChangeKind::PortPvid, "bridge vlan add dev %d vid VLAN pvid untagged"},
    {SwitchChangeKind::PortPermit, "permit in [[port]] of the configuration file, and SIGHUP"},
    {SwitchChangeKind::PortEligible, "mvrpctl set port %d enable off"},
    {SwitchChangeKind::PortJoinAgg, "ip link set dev %d nomaster; ip link set dev %d master BOND"},
    {SwitchChangeKind::PortLeaveAgg, "ip link set dev NAME nomaster"},
    {SwitchChangeKind::PortReset, "mvrpctl set port %d enable off, and on"},
    {SwitchChangeKind::PortCable, "nothing: the interface is what the port is connected to"},
    {SwitchChangeKind::PortReplay, "to send the frames of the capture to the interface"},
    {SwitchChangeKind::VlanCreate, "bridge vlan add dev %b vid VLAN self"},
    {SwitchChangeKind::VlanDelete, "bridge vlan del vid VLAN on each port that has it"},
    {SwitchChangeKind::VlanType, "bridge vlan add dev %b vid VLAN self makes a VLAN static"},
    {SwitchChangeKind::VlanAddPort, "bridge vlan add dev %d vid VLAN"},
    {SwitchChangeKind::VlanRemovePort, "bridge vlan del dev %d vid VLAN"},
    {SwitchChangeKind::TunnelMac, "nothing: a Linux bridge has no protocol tunnel"},
}};

std::string filledIn(std::string text, const std::string& mark, const std::string& name) {
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + name.size()))
        text.replace(at, mark.size(), name);
    return text;
}

}  // namespace

HostStatus LinuxSwitch::change(const SwitchChangeRecord& record, std::string& error) {
    if (record.kind == static_cast<u32>(SwitchChangeKind::PortRepair))
        return repair(record, error);
    const auto found =
        std::ranges::find(kInstead, static_cast<SwitchChangeKind>(record.kind), &Instead::kind);
    if (found == kInstead.end()) {
        error = "there is no change of kind " + std::to_string(record.kind);
        return HostStatus::Unsupported;
    }
    std::string name;
    if (!portName(record.unit, name))
        name = "NAME";
    const std::lock_guard serial(changeMutex_);
    error = "the daemon does not configure the Linux bridge " + config_.bridge +
            " by itself; instead: " +
            filledIn(filledIn(found->advice, "%d", name), "%b", config_.bridge);
    return HostStatus::Unsupported;
}

HostStatus LinuxSwitch::repair(const SwitchChangeRecord& record, std::string& error) {
    const std::lock_guard serial(changeMutex_);
    BridgePort* port = book_.find(record.unit);
    if (stopped_ || port == nullptr) {
        error = "there is no port " + std::to_string(record.unit);
        return HostStatus::NoSuchPort;
    }
    if (!vlanIsValid(record.vlans)) {
        error = "VLAN IDs are 1 to 4094";
        return HostStatus::BadArgument;
    }
    port->dispute = {};
    port->disputed = {};
    port->guardDispute = {};
    look({});
    RouteBatch batch;
    disown(record.unit, record.vlans, batch);
    deliver(batch);
    if (!unfinished_)
        return HostStatus::Ok;
    error = "the kernel did not take all of it: it is tried again; the log says what";
    return HostStatus::Unsupported;
}

}  // namespace platform
