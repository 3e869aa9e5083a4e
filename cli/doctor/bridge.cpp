// SPDX-License-Identifier: MIT
//
// The bridge and its ports as the kernel has them, against what the daemon and its file say.
#include <algorithm>

#include "cli/doctor/doctor.h"
#include "platform/model/vlan_algebra.h"

namespace cli {
namespace {

using platform::KernelLink;
using platform::LinkKind;
using platform::StpState;
using platform::SystemFacts;
using platform::VlanBitmap;

constexpr u32 kUsualMtu = 1500;

const KernelLink* linkNamed(const SystemFacts& system, const std::string& name) {
    const auto found = std::ranges::find(system.links, name, &KernelLink::name);
    return found == system.links.end() ? nullptr : &*found;
}

const KernelLink* linkOf(const SystemFacts& system, u32 index) {
    const auto found = std::ranges::find(system.links, index, &KernelLink::index);
    return found == system.links.end() ? nullptr : &*found;
}

std::string setLink(const std::string& name, const std::string& what) {
    return "ip link set dev " + name + " " + what;
}

void examineDevice(const KernelLink& bridge, std::vector<Finding>& findings) {
    if (!bridge.vlanFiltering)
        findings.push_back({Severity::Error,
                            "bridge-not-vlan-aware",
                            bridge.name,
                            "the bridge does not look at VLANs (vlan_filtering is 0)",
                            {setLink(bridge.name, "type bridge vlan_filtering 1")}});
    if (bridge.multipleTrees)
        findings.push_back({Severity::Error,
                            "bridge-multiple-trees",
                            bridge.name,
                            "the bridge has multiple spanning trees (mst_enabled is 1), and MVRP "
                            "here has one context for all VLANs: the daemon refuses the bridge",
                            {setLink(bridge.name, "type bridge mst_enabled 0")}});
    if (!bridge.adminUp)
        findings.push_back({Severity::Error,
                            "bridge-down",
                            bridge.name,
                            "the bridge is down",
                            {setLink(bridge.name, "up")}});
}

/// Ports that the file names, without a pattern, and switches on.
void examineNamedPorts(const SystemFacts& system, const KernelLink& bridge,
                       std::vector<Finding>& findings) {
    if (!system.config)
        return;
    for (const auto& rule : system.config->network.linuxBridge.rules) {
        if (rule.pattern.find_first_of("*?[") != std::string::npos)
            continue;
        const KernelLink* link = linkNamed(system, rule.pattern);
        if (link == nullptr)
            findings.push_back({Severity::Warning,
                                "port-missing",
                                rule.pattern,
                                "the file has a [[port]] for it, and there is no such interface",
                                {"ip -br link"}});
        else if (link->master != bridge.index)
            findings.push_back(
                {Severity::Warning,
                 "port-not-in-bridge",
                 rule.pattern,
                 "the file has a [[port]] for it, and it is not a port of " + bridge.name,
                 {setLink(link->name, "master " + bridge.name)}});
    }
}

void examineLink(const KernelLink& link, std::vector<Finding>& findings) {
    if (!link.adminUp)
        findings.push_back({Severity::Warning,
                            "port-down",
                            link.name,
                            "the port is down",
                            {setLink(link.name, "up")}});
    else if (!link.carrier)
        findings.push_back({Severity::Warning,
                            "port-no-carrier",
                            link.name,
                            "no carrier: cable, or the other end",
                            {}});
    else if (link.stpState == StpState::Blocking)
        findings.push_back({Severity::Note,
                            "port-blocking",
                            link.name,
                            "spanning tree blocks the port: it neither declares nor learns",
                            {"bridge -d link show dev " + link.name}});
    else if (link.stpState != StpState::Forwarding)
        findings.push_back({Severity::Note,
                            "port-not-forwarding",
                            link.name,
                            "spanning tree does not forward on the port yet",
                            {"bridge -d link show dev " + link.name}});
    if (link.mtu < kUsualMtu)
        findings.push_back({Severity::Warning,
                            "mtu-small",
                            link.name,
                            "an MTU of " + std::to_string(link.mtu) +
                                " bytes: full frames of neighbours do not fit",
                            {setLink(link.name, "mtu 1500")}});
}

/// Whether the guard is where it has to be, and nowhere else.
void examineGuard(const DoctorFacts& facts, const KernelLink& link,
                  std::vector<Finding>& findings) {
    const auto guard =
        std::ranges::find(facts.system.guards, link.index, &platform::GuardFact::index);
    if (guard == facts.system.guards.end() || facts.daemon.state == DaemonState::NotPermitted)
        return;
    const bool wanted = takesPart(facts.daemon, link.index);
    // While MVRP is on, all ports have it, unless the file says otherwise: the bridge relays none.
    const auto& config = facts.system.config;
    const bool isOn = std::ranges::any_of(
        facts.daemon.ports, [](const PortView& view) { return view.port.protocols != 0; });
    const bool everywhere =
        config && config->network.linuxBridge.guard == platform::GuardedPorts::All;
    const bool allowed = wanted || (isOn && (everywhere || !config));
    if (isOn && everywhere && !wanted && !guard->present)
        findings.push_back(
            {Severity::Warning,
             "guard-missing",
             link.name,
             "the guard is not there: the bridge relays MVRP frames of what is "
             "behind the port, and they register elsewhere",
             {"systemctl restart mvrp", "tc filter show dev " + link.name + " ingress"}});
    if (wanted && !guard->present)
        findings.push_back({Severity::Error,
                            "guard-missing",
                            link.name,
                            "the guard is not there: the bridge forwards the neighbour's frames, "
                            "and others learn from them",
                            {repairOf(link.name), "tc filter show dev " + link.name + " ingress"}});
    const auto removal = [&link](u16 preference) {
        return "tc filter del dev " + link.name + " ingress pref " + std::to_string(preference);
    };
    if (!allowed && guard->present)
        findings.push_back({Severity::Warning,
                            "guard-left",
                            link.name,
                            "a guard is left where the protocol is not on: frames to "
                            "01-80-C2-00-00-21 end here",
                            {removal(guard->preference)}});
    if (guard->strange != 0)
        findings.push_back({Severity::Warning,
                            "guard-strange",
                            link.name,
                            "a guard is left that the daemon of another bridge made, of which it "
                            "was a port: frames to 01-80-C2-00-00-21 end here",
                            {removal(guard->strange)}});
}

/// Others take the guard away again and again.
void examineGuardDispute(const PortView& view, std::vector<Finding>& findings) {
    if (view.port.guardDisputed == 0)
        return;
    const std::string name = view.port.name.data();
    findings.push_back({Severity::Warning,
                        "guard-disputed",
                        name,
                        "others remove the guard again and again (" +
                            std::to_string(view.port.guardLost) +
                            " times): it is put back later and later, and until then the bridge "
                            "forwards protocol frames",
                        {"tc monitor", "tc filter show dev " + name + " ingress"}});
}

/// Entries that the ledger names as the daemon's own and that the bridge does not have. Those that
/// the daemon calls learnt are examined with its port.
void examineLedger(const DoctorFacts& facts, const KernelLink& link,
                   std::vector<Finding>& findings) {
    const auto record =
        std::ranges::find(facts.system.ledger, link.index, &platform::LedgerRecord::index);
    if (record == facts.system.ledger.end())
        return;
    VlanBitmap gone = record->added;
    const auto there =
        std::ranges::find(facts.system.vlans, link.index, &platform::KernelVlans::index);
    if (there != facts.system.vlans.end())
        gone = platform::vlanDifference(gone, there->carried);
    for (const PortView& view : facts.daemon.ports)
        if (view.port.unit == link.index)
            gone = platform::vlanDifference(gone, view.dynamic);
    if (!platform::vlanIsEmpty(gone))
        findings.push_back(
            {Severity::Warning,
             "ledger-differs",
             link.name,
             "the daemon put VLANs on it by its ledger, and they are not there: " +
                 platform::formatVlanRanges(gone) + "; somebody took them away",
             {takesPart(facts.daemon, link.index) ? repairOf(link.name) : "systemctl restart mvrp",
              "bridge monitor vlan"}});
}

/// VLANs that the daemon has put on the port and that are not there.
void examineVlans(const SystemFacts& system, const PortView& view, std::vector<Finding>& findings) {
    const auto found =
        std::ranges::find(system.vlans, view.port.unit, &platform::KernelVlans::index);
    VlanBitmap missing = view.dynamic;
    if (found != system.vlans.end())
        missing = platform::vlanDifference(missing, found->carried);
    if (!platform::vlanIsEmpty(missing))
        findings.push_back({Severity::Error,
                            "vlans-missing",
                            view.port.name.data(),
                            "learnt, and not on the port: " + platform::formatVlanRanges(missing) +
                                "; somebody takes them away",
                            {repairOf(view.port.name.data()), "bridge monitor vlan"}});
}

}  // namespace

std::string bridgeOf(const DoctorFacts& facts) {
    const auto& config = facts.system.config;
    const bool answers = facts.daemon.state == DaemonState::Answers;
    const bool isLinux =
        answers
            ? facts.daemon.global.host.driver == static_cast<u32>(platform::DriverKind::LinuxBridge)
            : config && config->network.driver == platform::DriverKind::LinuxBridge;
    if (!isLinux)
        return "";
    for (const PortView& view : facts.daemon.ports)
        if (const KernelLink* port = linkOf(facts.system, view.port.unit))
            if (const KernelLink* bridge = linkOf(facts.system, port->master))
                return bridge->name;
    return config ? config->network.linuxBridge.bridge : "";
}

void examineBridge(const DoctorFacts& facts, std::vector<Finding>& findings) {
    const std::string name = bridgeOf(facts);
    if (name.empty())
        return;
    if (!facts.system.kernelProblem.empty()) {
        findings.push_back({Severity::Warning,
                            "kernel-silent",
                            name,
                            "the kernel does not tell: " + facts.system.kernelProblem,
                            {}});
        return;
    }
    const KernelLink* bridge = linkNamed(facts.system, name);
    if (bridge == nullptr || bridge->kind != LinkKind::Bridge) {
        findings.push_back({Severity::Error,
                            "bridge-missing",
                            name,
                            bridge == nullptr ? "there is no such bridge" : "this is no bridge",
                            {"ip link add name " + name + " type bridge vlan_filtering 1"}});
        return;
    }
    examineDevice(*bridge, findings);
    examineNamedPorts(facts.system, *bridge, findings);
    for (const KernelLink& link : facts.system.links) {
        if (link.master != bridge->index || !link.bridgePort)
            continue;
        if (takesPart(facts.daemon, link.index))
            examineLink(link, findings);
        examineGuard(facts, link, findings);
        examineLedger(facts, link, findings);
    }
    for (const PortView& view : facts.daemon.ports) {
        examineVlans(facts.system, view, findings);
        examineGuardDispute(view, findings);
    }
}

}  // namespace cli
