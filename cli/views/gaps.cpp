// SPDX-License-Identifier: MIT
#include "cli/views/gaps.h"

#include "platform/contract/management.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

using platform::vlanDifference;
using platform::vlanIntersection;
using platform::vlanUnion;

namespace {

bool runs(const PortView& view) {
    return view.settings && view.settings->enabled && view.port.link == 1;
}

/// What ports have registered for others to declare.
class Sources {
  public:
    explicit Sources(const VlansView& view) : staticVlans_(view.staticVlans) {
        for (const PortView& port : view.ports) {
            const platform::VlanBitmap here = of(port);
            several_ = vlanUnion(several_, vlanIntersection(any_, here));
            any_ = vlanUnion(any_, here);
        }
    }
    /// Registered on a port other than this.
    platform::VlanBitmap beside(const PortView& port) const {
        return vlanUnion(several_, vlanDifference(any_, of(port)));
    }

  private:
    platform::VlanBitmap of(const PortView& port) const {
        const bool enabled = port.settings && port.settings->enabled;
        return enabled ? vlanDifference(port.registered, staticVlans_) : platform::VlanBitmap{};
    }

    const platform::VlanBitmap& staticVlans_;
    platform::VlanBitmap any_{};
    platform::VlanBitmap several_{};
};

PortGaps gapsOn(const PortView& view, const VlansView& all, const Sources& sources) {
    PortGaps gaps;
    if (!runs(view))
        return gaps;
    const auto undeclared = [&view](const platform::VlanBitmap& wanted) {
        return vlanDifference(vlanIntersection(wanted, view.permitted), view.declared);
    };
    if (saysWhatIsStatic(view))
        gaps.undeclared = undeclared(all.staticVlans);
    if (saysWhatIsStatic(view) && view.settings->registration == MVRP_REGISTRATION_NORMAL)
        gaps.unpassed = undeclared(vlanDifference(sources.beside(view), all.staticVlans));
    gaps.unmembered =
        vlanDifference(vlanDifference(view.registered, view.dynamic), all.staticVlans);
    gaps.unregistered = vlanDifference(view.dynamic, view.registered);
    return gaps;
}

}  // namespace

bool saysWhatIsStatic(const PortView& view) {
    return runs(view) && view.settings->participant != MVRP_PARTICIPANT_QUIET;
}

std::map<u32, PortGaps> gapsOf(const VlansView& view) {
    const Sources sources(view);
    std::map<u32, PortGaps> gaps;
    for (const PortView& port : view.ports)
        gaps[port.port.unit] = gapsOn(port, view, sources);
    return gaps;
}

}  // namespace cli
