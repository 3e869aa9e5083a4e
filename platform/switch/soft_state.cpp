// SPDX-License-Identifier: MIT
#include "platform/switch/soft_state.h"

#include <algorithm>

#include "platform/model/vlan_algebra.h"

namespace platform {

SwitchPort softPortFrom(const PortConfig& config) {
    SwitchPort port;
    port.unit = config.unit;
    port.endType = config.isAggregation ? QorEndType::Aggregation : QorEndType::Port;
    port.linkUp = config.linkUp;
    port.eligible = config.eligible;
    port.mtu = config.mtu;
    port.pvid = config.pvid;
    port.aggregation = config.aggregation;
    port.mac = config.mac;
    config.name.copy(port.name.data(), port.name.size() - 1);
    port.tagged = config.permitTagged;
    port.untagged = config.permitUntagged;
    port.maxVlans = config.maxVlans;
    return port;
}

SwitchState softStateFrom(const SwitchConfig& config) {
    SwitchState state;
    for (const PortConfig& port : config.ports)
        state.ports.push_back(softPortFrom(port));
    std::ranges::sort(state.ports, {}, &SwitchPort::unit);
    vlanForEach(config.staticVlans, [&state](u32 vid) {
        if (vid <= kLastVlan)
            state.kinds[vid] = static_cast<u8>(QorVlanType::Static);
    });
    state.kinds[kDefaultVlan] = static_cast<u8>(QorVlanType::Static);
    return state;
}

}  // namespace platform
