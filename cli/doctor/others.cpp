// SPDX-License-Identifier: MIT
//
// Others on the same bridge: the kernel's own registration protocols, other listeners, programs
// that configure interfaces.
#include <algorithm>
#include <array>
#include <set>

#include "cli/doctor/doctor.h"

namespace cli {
namespace {

using platform::KernelLink;
using platform::PacketListener;
using platform::SystemFacts;

constexpr u32 kMvrpEthertype = 0x88F5;
constexpr const char* kOwnProgram = "mvrp";

/// What a program needs to be told so that it leaves others' VLANs alone.
struct ManagerAdvice {
    const char* name;
    const char* advice;
    const char* command;
};
constexpr std::array<ManagerAdvice, 4> kAdvice = {{
    {"systemd-networkd",
     "it sets the VLANs of ports that it configures when they are configured again",
     "networkctl list"},
    {"NetworkManager", "it sets the VLANs of ports whose connection it activates",
     "nmcli device status"},
    {"ifupdown2", "ifreload takes away VLANs that its file does not have (bridge-vids)",
     "ifquery --check -a"},
    {"Open vSwitch", "its switches are not Linux bridges, and are not driven by mvrp",
     "ovs-vsctl show"},
}};

std::string nameOfLink(const SystemFacts& system, u32 index) {
    const auto found = std::ranges::find(system.links, index, &KernelLink::index);
    return found == system.links.end() ? std::to_string(index) : found->name;
}

void examineKernelHosts(const SystemFacts& system, const KernelLink& bridge,
                        std::vector<Finding>& findings) {
    for (const platform::VlanDevice& device : system.vlanDevices) {
        const auto lower = std::ranges::find(system.links, device.lower, &KernelLink::index);
        if ((!device.mvrp && !device.gvrp) || lower == system.links.end() ||
            (lower->index != bridge.index && lower->master != bridge.index))
            continue;
        const std::string protocol = device.mvrp ? "mvrp" : "gvrp";
        findings.push_back(
            {Severity::Error,
             "kernel-declares",
             lower->name,
             "the kernel itself declares VLAN " + std::to_string(device.vid) + " here, for " +
                 device.name + ", beside the daemon",
             {"ip link set dev " + device.name + " type vlan " + protocol + " off"}});
    }
}

bool concerns(const SystemFacts& system, const PacketListener& listener, const KernelLink& bridge) {
    if (listener.interface == 0 || listener.interface == bridge.index)
        return true;
    return std::ranges::any_of(system.links, [&](const KernelLink& link) {
        return link.index == listener.interface && link.master == bridge.index;
    });
}

std::string programText(const PacketListener& listener) {
    if (listener.process == 0)
        return "a program of another user";
    return "'" + listener.program + "' (process " + std::to_string(listener.process) + ")";
}

/// Another program that listens for MVRP, or a second daemon.
void examineListeners(const SystemFacts& system, const KernelLink& bridge,
                      std::vector<Finding>& findings) {
    std::set<int> daemons;
    for (const PacketListener& listener : system.listeners) {
        if (!concerns(system, listener, bridge))
            continue;
        if (listener.program == kOwnProgram)
            daemons.insert(listener.process);
        else if (listener.protocol == kMvrpEthertype)
            findings.push_back(
                {Severity::Warning,
                 "other-listener",
                 listener.interface == 0 ? bridge.name : nameOfLink(system, listener.interface),
                 programText(listener) + " receives MVRP frames too, and may answer them",
                 {"ss -0 -p"}});
    }
    if (daemons.size() > 1)
        findings.push_back({Severity::Error,
                            "two-daemons",
                            bridge.name,
                            std::to_string(daemons.size()) + " mvrp processes use its ports",
                            {"pgrep -a mvrp"}});
}

}  // namespace

void examineOthers(const DoctorFacts& facts, std::vector<Finding>& findings) {
    const std::string name = bridgeOf(facts);
    const auto bridge = std::ranges::find(facts.system.links, name, &KernelLink::name);
    if (name.empty() || bridge == facts.system.links.end())
        return;
    examineKernelHosts(facts.system, *bridge, findings);
    examineListeners(facts.system, *bridge, findings);
    for (const platform::NetworkManager& manager : facts.system.managers)
        for (const ManagerAdvice& advice : kAdvice)
            if (manager.name == advice.name)
                findings.push_back(
                    {Severity::Note,
                     "network-manager",
                     name,
                     manager.name + " is at work (" + manager.sign + "): " + advice.advice,
                     {advice.command}});
    if (facts.system.bridgeFirewall)
        findings.push_back({Severity::Note,
                            "bridge-firewall",
                            name,
                            "bridged IP packets pass iptables, which may drop them though the VLAN "
                            "is there",
                            {"sysctl net.bridge.bridge-nf-call-iptables=0"}});
}

}  // namespace cli
