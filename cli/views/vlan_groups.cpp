// SPDX-License-Identifier: MIT
#include "cli/views/vlan_groups.h"

#include <algorithm>
#include <bit>
#include <numeric>

#include "cli/print/words.h"
#include "platform/contract/qor_vlan.h"

namespace cli {

namespace {

VlanGroup describe(const VlansView& view, u32 vid, u32 kind) {
    VlanGroup group;
    group.kind = kind;
    for (const PortView& port : view.ports) {
        const bool tagged = platform::vlanContains(port.permittedTagged, vid);
        if (tagged)
            group.taggedPorts.emplace_back(port.port.name.data());
        if (!tagged && platform::vlanContains(port.permitted, vid))
            group.untaggedPorts.emplace_back(port.port.name.data());
        if (platform::vlanContains(port.dynamic, vid))
            group.dynamicPorts.emplace_back(port.port.name.data());
    }
    return group;
}

bool alike(const VlanGroup& a, const VlanGroup& b) {
    return a.kind == b.kind && a.taggedPorts == b.taggedPorts &&
           a.untaggedPorts == b.untaggedPorts && a.dynamicPorts == b.dynamicPorts;
}

}  // namespace

std::vector<VlanGroup> groupVlans(const VlansView& view, std::optional<u32> vid) {
    std::vector<VlanGroup> groups;
    for (u32 vlan = vid.value_or(platform::kFirstVlan); vlan <= vid.value_or(platform::kLastVlan);
         ++vlan) {
        const bool isStatic = platform::vlanContains(view.staticVlans, vlan);
        if (!isStatic && !platform::vlanContains(view.dynamicVlans, vlan))
            continue;
        const QorVlanType kind = isStatic ? QorVlanType::Static : QorVlanType::Dynamic;
        VlanGroup group = describe(view, vlan, static_cast<u32>(kind));
        auto found = std::ranges::find_if(
            groups, [&group](const VlanGroup& other) { return alike(group, other); });
        if (found == groups.end())
            found = groups.insert(groups.end(), std::move(group));
        platform::vlanInsert(found->vlans, vlan);
    }
    return groups;
}

std::vector<StateGroup> groupStates(const PortView& port, std::optional<u32> vid) {
    std::vector<StateGroup> groups;
    for (u32 vlan = 1; vlan <= port.machines.size(); ++vlan) {
        const platform::MachineRecord& machine = port.machines[vlan - 1];
        if (vid ? vlan != *vid : !inUse(machine))
            continue;
        auto found = std::ranges::find_if(groups, [&machine](const StateGroup& group) {
            return group.machine.applicant == machine.applicant &&
                   group.machine.registrar == machine.registrar &&
                   group.machine.flags == machine.flags;
        });
        if (found == groups.end())
            found = groups.insert(groups.end(), StateGroup{{}, machine});
        platform::vlanInsert(found->vlans, vlan);
    }
    return groups;
}

std::size_t countVlans(const platform::VlanBitmap& vlans) {
    return std::accumulate(vlans.begin(), vlans.end(), std::size_t{0},
                           [](std::size_t sum, u8 byte) {
                               return sum + static_cast<std::size_t>(std::popcount(byte));
                           });
}

}  // namespace cli
