// SPDX-License-Identifier: MIT
#include "platform/config/reload/reload_check.h"

#include <algorithm>
#include <vector>

#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

constexpr const char* kSwitchTable = "[switch]";

bool isLinux(const HostConfig& config) {
    return config.network.driver == DriverKind::LinuxBridge;
}

std::string driverName(const HostConfig& config) {
    return isLinux(config) ? "linux" : "soft";
}

/// A port of the software switch, or a rule for ports of a Linux bridge.
struct Port {
    std::string name;  ///< as the file calls it
    bool takesPart = false;
    bool saysNot = false;  ///< the file says that it takes no part
};

Port portFrom(std::string name, std::optional<u32> enable, const ManagementConfig& management) {
    return {std::move(name), enable == MVRP_ON && management.enable == MVRP_ON,
            enable == MVRP_OFF || management.enable == MVRP_OFF};
}

std::vector<Port> portsOf(const HostConfig& config) {
    std::vector<Port> list;
    for (const LinuxPortRule& rule : config.network.linuxBridge.rules)
        list.push_back(portFrom(rule.pattern, rule.management.enable, config.management));
    for (const PortConfig& port : config.network.ports) {
        const auto managed = config.management.ports.find(port.unit);
        list.push_back(portFrom(
            std::to_string(port.unit),
            managed == config.management.ports.end() ? std::nullopt : managed->second.enable,
            config.management));
    }
    return list;
}

const Port* find(const std::vector<Port>& ports, const std::string& name) {
    const auto found = std::ranges::find(ports, name, &Port::name);
    return found == ports.end() ? nullptr : &*found;
}

/// Ports that are not there any more, or that take no part any more and nothing says why.
std::vector<std::string> lostPorts(const std::vector<Port>& before, const std::vector<Port>& next) {
    std::vector<std::string> lost;
    for (const Port& old : before) {
        const Port* now = find(next, old.name);
        if (now == nullptr || (old.takesPart && !now->takesPart && !now->saysNot))
            lost.push_back(old.name);
    }
    return lost;
}

bool sets(const ConfigPart& part, const std::string& setting) {
    return std::ranges::find(part.settings, setting) != part.settings.end();
}

bool setsAnywhere(const HostConfig& config, const std::string& setting) {
    return std::ranges::any_of(config.parts,
                               [&](const ConfigPart& part) { return sets(part, setting); });
}

/// The first file that is still there and does not set any more what was its last setting; none of
/// those whose last setting stands in another file now. One that is gone was removed.
const ConfigPart* cutOff(const HostConfig& running, const HostConfig& next) {
    for (const ConfigPart& old : running.parts) {
        const auto now = std::ranges::find(next.parts, old.fragment, &ConfigPart::fragment);
        if (now != next.parts.end() && !old.settings.empty() &&
            !setsAnywhere(next, old.settings.back()))
            return &old;
    }
    return nullptr;
}

/// What the end of a file that was cut off would take along.
std::string lostByTheEnd(const HostConfig& running, const HostConfig& next,
                         const std::vector<std::string>& ports) {
    std::string lost;
    for (const std::string& port : ports)
        lost += (lost.empty() ? "port " : ", port ") + port;
    const VlanBitmap vlans = vlanDifference(running.network.staticVlans, next.network.staticVlans);
    if (!vlanIsEmpty(vlans))
        lost += (lost.empty() ? "VLANs " : ", VLANs ") + formatVlanRanges(vlans);
    return lost;
}

}  // namespace

std::string reloadRefusal(const HostConfig& running, const HostConfig& next) {
    if (!setsAnywhere(next, kSwitchTable))
        return std::string(
                   "there is no [switch], which a file that is read again has to have; "
                   "was it cut off?") +
               kForceAdvice;
    if (running.network.driver != next.network.driver)
        return "nothing would be left of the driver \"" + driverName(running) + "\": [switch] " +
               "driver = \"" + driverName(next) + "\" takes a new start" + kForceAdvice;
    if (running.network.linuxBridge.bridge != next.network.linuxBridge.bridge)
        return "nothing would be left of the bridge " + running.network.linuxBridge.bridge +
               ": [switch] bridge = \"" + next.network.linuxBridge.bridge + "\" takes a new start" +
               kForceAdvice;
    const std::vector<Port> before = portsOf(running);
    const std::vector<Port> after = portsOf(next);
    if (!before.empty() && after.empty())
        return std::string("nothing would be left of its ports") + kForceAdvice;
    const bool anySaysNot = std::ranges::any_of(after, &Port::saysNot);
    if (std::ranges::any_of(before, &Port::takesPart) && !anySaysNot &&
        std::ranges::none_of(after, &Port::takesPart))
        return std::string(
                   "no port would take part any more, and nothing in the file says "
                   "enable = false") +
               kForceAdvice;
    const ConfigPart* cut = cutOff(running, next);
    const std::string lost = lostByTheEnd(running, next, lostPorts(before, after));
    if (cut == nullptr || lost.empty())
        return {};
    return "the end of " + (cut->fragment.empty() ? std::string("the file") : cut->fragment) +
           " is not there (" + cut->settings.back() +
           " was its last setting), and it would take along " + lost + kForceAdvice;
}

}  // namespace platform
