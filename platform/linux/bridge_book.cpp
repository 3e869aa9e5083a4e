// SPDX-License-Identifier: MIT
#include "platform/linux/bridge_book.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

/// The daemon keeps an MTU in 16 bits.
constexpr u32 kMostMtu = std::numeric_limits<u16>::max();

const KernelVlans* vlansOf(std::span<const KernelVlans> vlans, u32 index) {
    const auto found = std::ranges::find(vlans, index, &KernelVlans::index);
    return found == vlans.end() ? nullptr : &*found;
}

BridgePort portFrom(const KernelLink& link, const KernelVlans* vlans) {
    BridgePort port;
    port.link = link;
    if (vlans != nullptr) {
        port.carried = vlans->carried;
        port.untagged = vlans->untagged;
        port.pvid = vlans->pvid;
    }
    return port;
}

}  // namespace

VlanBitmap BridgePort::foreign() const {
    return vlanDifference(carried, added);
}

VlanBitmap BridgePort::takenOver() const {
    VlanBitmap flagged = untagged;
    vlanInsert(flagged, pvid);
    return vlanIntersection(vlanIntersection(added, carried), flagged);
}

const BridgePort* BridgeBook::find(u32 index) const {
    const auto found = std::ranges::lower_bound(
        ports, index, {}, [](const BridgePort& port) { return port.link.index; });
    return found != ports.end() && found->link.index == index ? &*found : nullptr;
}

BridgePort* BridgeBook::find(u32 index) {
    return const_cast<BridgePort*>(std::as_const(*this).find(index));
}

VlanBitmap BridgeBook::staticVlans(VlanOne vlanOne) const {
    VlanBitmap all = bridgeVlans;
    for (const BridgePort& port : ports)
        all = vlanUnion(all, port.foreign());
    if (vlanOne == VlanOne::Always)
        vlanInsert(all, kDefaultVlan);
    return all;
}

BridgeBook readBook(std::span<const KernelLink> links, std::span<const KernelVlans> vlans,
                    const std::string& bridge) {
    BridgeBook book;
    const auto found = std::ranges::find_if(links, [&bridge](const KernelLink& link) {
        return link.kind == LinkKind::Bridge && link.name == bridge;
    });
    if (found == links.end())
        return book;
    book.bridge = *found;
    if (const KernelVlans* own = vlansOf(vlans, found->index))
        book.bridgeVlans = own->carried;
    for (const KernelLink& link : links)
        if (link.bridgePort && link.master == found->index && link.index <= kLastUnit)
            book.ports.push_back(portFrom(link, vlansOf(vlans, link.index)));
    std::ranges::sort(book.ports, {}, [](const BridgePort& port) { return port.link.index; });
    return book;
}

bool isUsable(const KernelLink& bridge) {
    return bridge.vlanFiltering && !bridge.multipleTrees;
}

bool isUp(const KernelLink& link, bool usable) {
    return usable && link.adminUp && link.carrier && link.stpState == StpState::Forwarding;
}

SwitchPort describePort(const BridgePort& port, const VlanBitmap& staticVlans,
                        const LinuxBridgeConfig& config, bool usable) {
    SwitchPort seen;
    seen.unit = port.link.index;
    seen.endType = port.link.kind == LinkKind::Bond ? QorEndType::Aggregation : QorEndType::Port;
    seen.linkUp = isUp(port.link, usable);
    seen.mtu = std::min(port.link.mtu, kMostMtu);
    seen.pvid = port.pvid;
    seen.mac = port.link.mac;
    port.link.name.copy(seen.name.data(), seen.name.size() - 1);
    const LinuxPortRule& rule = config.ruleOf(port.link.name);
    seen.maxVlans = rule.maxVlans;
    seen.guardLost = port.guardLost;
    seen.guardDisputedUntilMs = port.guardDispute.disputedUntilMs();
    VlanBitmap permitted = rule.permit;
    if (config.staticVlans == StaticVlans::AsConfigured)
        permitted = vlanUnion(vlanDifference(permitted, staticVlans), port.foreign());
    seen.untagged = vlanIntersection(permitted, port.untagged);
    seen.tagged = vlanDifference(permitted, seen.untagged);
    return seen;
}

}  // namespace platform
