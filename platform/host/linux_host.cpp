// SPDX-License-Identifier: MIT
#include "platform/host/linux_host.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/config/management_commands.h"
#include "platform/contract/management.h"
#include "platform/linux/netlink/rtnl_kernel.h"
#include "platform/runtime/files/paths.h"

namespace platform {
namespace {

/// How long the daemon is given to read that a port is gone. It does so as soon as it runs.
constexpr std::chrono::milliseconds kForgetWithin{1000};
constexpr std::chrono::milliseconds kForgetLook{5};

std::shared_ptr<Kernel> openKernel(const std::string& bridge) {
    KernelResult result;
    std::shared_ptr<Kernel> kernel = RtnlKernel::open(bridge, result);
    if (kernel == nullptr)
        throw std::runtime_error("the kernel can not be asked about bridges: " + result.what);
    return kernel;
}

std::string ledgerPath(const std::string& bridge) {
    return runtimePath("/tmp/mvrp-" + bridge + ".ledger");
}

/// A port that comes back under its old unit must not get its settings before the daemon has read
/// that it went: it would forget them again.
void awaitForgotten(const Dispatcher& dispatcher, u32 unit) {
    const auto until = std::chrono::steady_clock::now() + kForgetWithin;
    u32 value = 0;
    while (dispatcher.callNumber(Request::PortGet, unit, MVRP_PORT_ENABLE, value) == kStatusOk &&
           std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(kForgetLook);
}

}  // namespace

LinuxHost::LinuxHost(const LinuxBridgeConfig& config)
    : kernel_(openKernel(config.bridge)),
      driver_(kernel_, config, ledgerPath(config.bridge)),
      monitor_(kernel_, driver_) {}

bool LinuxHost::start(std::function<void()> portsChanged, std::string& error) {
    driver_.setListeners({std::move(portsChanged), [this] { monitor_.wake(); }});
    if (!driver_.start(error))
        return false;
    driver_.adoptMemberships();
    if (monitor_.start())
        return true;
    error = "no descriptors to follow the bridge with";
    return false;
}

void LinuxHost::stop(Ending ending) {
    monitor_.stop();
    driver_.stop(ending);
}

SwitchConfig LinuxHost::withPorts(const HostConfig& config, OpenPorts open) const {
    SwitchConfig network = config.network;
    network.ports.clear();
    const bool isOn = open == OpenPorts::Configured && config.management.enable == MVRP_ON;
    for (const LinuxPortFacts& facts : driver_.ports()) {
        const LinuxPortRule& rule = network.linuxBridge.ruleOf(facts.name);
        PortConfig port;
        port.unit = facts.unit;
        port.name = facts.name;
        port.wireForm = rule.wireForm;
        port.recordFile = rule.recordFile;
        port.maxPdus = rule.maxPdus;
        if ((isOn && rule.management.enable == MVRP_ON) || !rule.recordFile.empty() ||
            driver_.framePolicy(facts.unit).takesPart()) {
            port.cable.kind = CableKind::Interface;
            port.cable.interfaceName = facts.name;
            port.cable.interfaceIndex = facts.unit;
            port.cable.plugging = facts.generation;
        }
        network.ports.push_back(std::move(port));
    }
    return network;
}

ManagementConfig LinuxHost::withPorts(ManagementConfig management,
                                      const LinuxBridgeConfig& bridge) const {
    management.ports.clear();
    for (const LinuxPortFacts& facts : driver_.ports())
        management.ports.emplace(facts.unit, bridge.ruleOf(facts.name).management);
    return management;
}

std::optional<u32> LinuxHost::unitOf(const std::string& name) const {
    for (const LinuxPortFacts& facts : driver_.ports())
        if (facts.name == name)
            return facts.unit;
    return std::nullopt;
}

ManagementConfig LinuxHost::stillApplied(ManagementConfig applied, const Dispatcher& dispatcher) {
    std::map<u32, u32> now;
    for (const LinuxPortFacts& facts : driver_.ports())
        now.emplace(facts.unit, facts.generation);
    const auto isKnown = [this](const auto& port) {
        const auto known = generations_.find(port.first);
        return known != generations_.end() && known->second == port.second;
    };
    for (const auto& port : now)
        if (!isKnown(port))
            awaitForgotten(dispatcher, port.first);
    std::erase_if(applied.ports, [&](const auto& port) {
        const auto is = now.find(port.first);
        return is == now.end() || !isKnown(*is);
    });
    generations_ = std::move(now);
    return applied;
}

}  // namespace platform
