// SPDX-License-Identifier: MIT
#include "platform/virtual/state/switch_state.h"

#include "platform/contract/qor_vlan.h"

namespace scenario {
namespace {

constexpr u32 kDynamic = static_cast<u32>(QorVlanType::Dynamic);

/// 02:00 and the unit, most significant byte first.
MacAddress defaultMac(u32 unit) {
    return {0x02,
            0x00,
            static_cast<u8>(unit >> 24U),
            static_cast<u8>(unit >> 16U),
            static_cast<u8>(unit >> 8U),
            static_cast<u8>(unit)};
}

}  // namespace

SwitchPort* SwitchState::findPort(u32 unit) {
    const auto found = ports.find(unit);
    return found == ports.end() ? nullptr : &found->second;
}

SwitchPort& SwitchState::addPort(u32 unit) {
    const auto [entry, created] = ports.try_emplace(unit);
    if (created) {
        entry->second.mac = defaultMac(unit);
        entry->second.name = "eth" + std::to_string(unit);
    }
    return entry->second;
}

std::optional<u32> SwitchState::typeOfVlan(u32 vid) const {
    return vid < vlanTypes.size() ? vlanTypes[vid] : std::nullopt;
}

void SwitchState::createDynamicVlans(const VlanSet& vlans) {
    forEachMember(vlans, [&](std::size_t vid) {
        if (!vlanTypes[vid])
            vlanTypes.set(vid, kDynamic);
    });
}

void SwitchState::deleteDynamicVlans(const VlanSet& vlans) {
    VlanSet deleted;
    VlanSet guarded;
    if (guardsMembers)
        for (const auto& [unit, port] : ports)
            guarded |= port.dynamic;
    forEachMember(vlans, [&](std::size_t vid) {
        if (vlanTypes[vid] != kDynamic || guarded.test(vid))
            return;
        vlanTypes.set(vid, std::nullopt);
        deleted.set(vid);
    });
    if (deleted.none())
        return;
    for (auto& [unit, port] : ports)
        port.stranded |= port.dynamic & deleted;
}

void SwitchState::removeMember(SwitchPort& port, const VlanSet& vlans) const {
    const VlanSet kept = guardsMembers && !port.takesPart ? VlanSet() : ~vlans;
    port.dynamic &= kept;
    port.stranded &= kept;
}

void SwitchState::forgetLearnt() {
    for (auto& [unit, port] : ports) {
        port.takesPart = false;
        port.dynamic.reset();
        port.stranded.reset();
    }
    for (std::size_t vid = 0; vid < vlanTypes.size(); vid++)
        if (vlanTypes[vid] == kDynamic)
            vlanTypes.set(vid, std::nullopt);
}

}  // namespace scenario
