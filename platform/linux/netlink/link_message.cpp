// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/link_message.h"

#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <string_view>

#include "platform/linux/netlink/bridge_vlan_message.h"
#include "platform/linux/netlink/netlink_attributes.h"

namespace platform {

namespace {

std::optional<StpState> stpStateOf(const nlattr& attribute) {
    const auto state = valueOf<u8>(attribute);
    if (!state || *state > static_cast<u8>(StpState::Blocking))
        return std::nullopt;
    return static_cast<StpState>(*state);
}

void readBridgeData(std::span<const u8> data, KernelLink& link) {
    forEachAttribute(data, [&](const nlattr& attribute) {
        if (typeOf(attribute) == IFLA_BR_VLAN_FILTERING)
            link.vlanFiltering = valueOf<u8>(attribute).value_or(0) != 0;
        else if (typeOf(attribute) == IFLA_BR_VLAN_DEFAULT_PVID)
            link.defaultPvid = valueOf<u16>(attribute).value_or(0);
        else if (typeOf(attribute) == IFLA_BR_MULTI_BOOLOPT)
            link.multipleTrees =
                ((valueOf<br_boolopt_multi>(attribute).value_or(br_boolopt_multi{}).optval >>
                  BR_BOOLOPT_MST_ENABLE) &
                 1U) != 0;
    });
}

void readPortData(std::span<const u8> data, KernelLink& link) {
    forEachAttribute(data, [&](const nlattr& attribute) {
        if (typeOf(attribute) == IFLA_BRPORT_STATE)
            link.stpState = stpStateOf(attribute).value_or(link.stpState);
    });
}

/// IFLA_LINKINFO: what the interface is, and what it is to its master.
void readLinkInfo(std::span<const u8> info, KernelLink& link) {
    std::string_view kind;
    std::string_view masterKind;
    std::span<const u8> data;
    std::span<const u8> portData;
    forEachAttribute(info, [&](const nlattr& attribute) {
        switch (typeOf(attribute)) {
            case IFLA_INFO_KIND:
                kind = textOf(attribute);
                break;
            case IFLA_INFO_DATA:
                data = payloadOf(attribute);
                break;
            case IFLA_INFO_SLAVE_KIND:
                masterKind = textOf(attribute);
                break;
            case IFLA_INFO_SLAVE_DATA:
                portData = payloadOf(attribute);
                break;
            default:
                break;
        }
    });
    if (kind == "bridge") {
        link.kind = LinkKind::Bridge;
        readBridgeData(data, link);
    } else if (kind == "bond" || kind == "team") {
        link.kind = LinkKind::Bond;
    }
    link.bridgePort = masterKind == "bridge";
    if (link.bridgePort)
        readPortData(portData, link);
}

void readLinkAttribute(const nlattr& attribute, KernelLink& link) {
    const std::span<const u8> bytes = payloadOf(attribute);
    switch (typeOf(attribute)) {
        case IFLA_IFNAME:
            link.name = textOf(attribute);
            break;
        case IFLA_ADDRESS:
            if (bytes.size() == link.mac.size())
                std::copy(bytes.begin(), bytes.end(), link.mac.begin());
            break;
        case IFLA_MTU:
            link.mtu = valueOf<u32>(attribute).value_or(0);
            break;
        case IFLA_MASTER:
            link.master = valueOf<u32>(attribute).value_or(0);
            break;
        case IFLA_LINKINFO:
            readLinkInfo(bytes, link);
            break;
        default:
            break;
    }
}

std::optional<ifinfomsg> leadingRecord(std::span<const u8> payload) {
    auto record = leadingValue<ifinfomsg>(payload);
    if (record && record->ifi_index <= 0)
        record.reset();
    return record;
}

}  // namespace

std::optional<u8> linkFamily(std::span<const u8> payload) {
    const auto record = leadingValue<ifinfomsg>(payload);
    return record ? std::optional<u8>(record->ifi_family) : std::nullopt;
}

std::optional<KernelLink> readLink(std::span<const u8> payload) {
    const auto record = leadingRecord(payload);
    if (!record)
        return std::nullopt;
    KernelLink link;
    link.index = static_cast<u32>(record->ifi_index);
    link.adminUp = (record->ifi_flags & IFF_UP) != 0;
    link.carrier = (record->ifi_flags & IFF_LOWER_UP) != 0;
    forEachAttribute(attributesBehind(payload, sizeof(*record)),
                     [&](const nlattr& attribute) { readLinkAttribute(attribute, link); });
    return link;
}

std::optional<BridgePortMessage> readBridgePort(std::span<const u8> payload) {
    const auto record = leadingRecord(payload);
    if (!record)
        return std::nullopt;
    BridgePortMessage message;
    message.index = static_cast<u32>(record->ifi_index);
    forEachAttribute(attributesBehind(payload, sizeof(*record)), [&](const nlattr& attribute) {
        if (typeOf(attribute) == IFLA_MASTER)
            message.bridge = valueOf<u32>(attribute).value_or(0);
        else if (typeOf(attribute) == IFLA_AF_SPEC)
            message.vlans = readVlanList(message.index, payloadOf(attribute));
        else if (typeOf(attribute) == IFLA_PROTINFO)
            forEachAttribute(payloadOf(attribute), [&](const nlattr& inner) {
                if (typeOf(inner) == IFLA_BRPORT_STATE)
                    message.stpState = stpStateOf(inner);
            });
    });
    return message;
}

}  // namespace platform
