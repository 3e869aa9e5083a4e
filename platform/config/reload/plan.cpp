// SPDX-License-Identifier: MIT
#include "platform/config/reload/plan.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "platform/contract/management.h"
#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

constexpr std::array<std::string_view, 9> kWords = {
    "portNew",   "portGone",  "portJoins",    "portLeaves",   "permitted",
    "forbidden", "forgotten", "vlansCreated", "vlansDeleted",
};
static_assert(kWords.size() == static_cast<std::size_t>(PlanEffectKind::VlansDeleted) + 1);

/// What a configuration says of one port.
struct Said {
    VlanBitmap permit{};
    std::optional<u32> enable;
};

bool isLinux(const HostConfig& config) {
    return config.network.driver == DriverKind::LinuxBridge;
}

/// @return nothing when the configuration has no such port
std::optional<Said> saidOf(const HostConfig& config, const PlanPort& port) {
    if (isLinux(config)) {
        const LinuxPortRule& rule = config.network.linuxBridge.ruleOf(port.name);
        return Said{rule.permit, rule.management.enable};
    }
    const auto found = std::ranges::find(config.network.ports, port.unit, &PortConfig::unit);
    if (found == config.network.ports.end())
        return std::nullopt;
    const auto managed = config.management.ports.find(port.unit);
    return Said{vlanUnion(found->permitTagged, found->permitUntagged),
                managed == config.management.ports.end() ? config.otherPorts.enable
                                                         : managed->second.enable};
}

/// Whether a port takes part afterwards: as it does now where the file says nothing new about it.
bool takesPartAfter(const PlanPort& port, const HostConfig& running, const HostConfig& next,
                    const std::optional<Said>& before, const Said& after) {
    const bool portDiffers = !before || before->enable != after.enable;
    const bool globalDiffers = running.management.enable != next.management.enable;
    if (!portDiffers && !globalDiffers)
        return port.takesPart;
    return after.enable == u32{MVRP_ON} && next.management.enable == u32{MVRP_ON};
}

class Effects {
  public:
    Effects(const HostConfig& running, const HostConfig& next) : running_(running), next_(next) {}

    void ofPort(const PlanPort& port) {
        const auto before = saidOf(running_, port);
        const auto after = saidOf(next_, port);
        if (!after)
            return before ? add(PlanEffectKind::PortGone, port.name, port.learnt) : void();
        const VlanBitmap old = before ? before->permit : after->permit;
        const VlanBitmap lost = vlanDifference(old, after->permit);
        addVlans(PlanEffectKind::Permitted, port.name, vlanDifference(after->permit, old));
        addVlans(PlanEffectKind::Forbidden, port.name, lost);
        const bool stays = takesPartAfter(port, running_, next_, before, *after);
        if (port.takesPart && !stays)
            return add(PlanEffectKind::PortLeaves, port.name, port.learnt);
        if (!port.takesPart && stays)
            add(PlanEffectKind::PortJoins, port.name, {});
        addVlans(PlanEffectKind::Forgotten, port.name, vlanIntersection(port.learnt, lost));
    }

    /// Ports of the software switch that it does not have yet.
    void newPorts(const std::vector<PlanPort>& ports) {
        for (const PortConfig& port : next_.network.ports)
            if (std::ranges::find(ports, port.unit, &PlanPort::unit) == ports.end())
                add(PlanEffectKind::PortNew, port.name,
                    vlanUnion(port.permitTagged, port.permitUntagged));
    }

    void ofSwitch() {
        const VlanBitmap& old = running_.network.staticVlans;
        const VlanBitmap& now = next_.network.staticVlans;
        addVlans(PlanEffectKind::VlansCreated, {}, vlanDifference(now, old));
        addVlans(PlanEffectKind::VlansDeleted, {}, vlanDifference(old, now));
    }

    std::vector<PlanEffect> take() { return std::move(effects_); }

  private:
    void add(PlanEffectKind kind, const std::string& port, const VlanBitmap& vlans) {
        effects_.push_back({kind, port, vlans});
    }
    void addVlans(PlanEffectKind kind, const std::string& port, const VlanBitmap& vlans) {
        if (!vlanIsEmpty(vlans))
            add(kind, port, vlans);
    }

    const HostConfig& running_;
    const HostConfig& next_;
    std::vector<PlanEffect> effects_;
};

}  // namespace

std::string_view planWord(PlanEffectKind kind) {
    return kWords.at(static_cast<std::size_t>(kind));
}

std::vector<PlanEffect> planEffects(const HostConfig& running, const HostConfig& next,
                                    const std::vector<PlanPort>& ports) {
    // Another driver or bridge takes a new start, which is another plan.
    if (running.network.driver != next.network.driver ||
        running.network.linuxBridge.bridge != next.network.linuxBridge.bridge)
        return {};
    Effects effects(running, next);
    for (const PlanPort& port : ports)
        effects.ofPort(port);
    effects.newPorts(ports);
    effects.ofSwitch();
    return effects.take();
}

}  // namespace platform
