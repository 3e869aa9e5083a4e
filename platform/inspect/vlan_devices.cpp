// SPDX-License-Identifier: MIT
#include "platform/inspect/vlan_devices.h"

#include <linux/if_link.h>
#include <linux/if_vlan.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>

#include "platform/linux/netlink/netlink_attributes.h"

namespace platform {
namespace {

void readVlanData(std::span<const u8> data, VlanDevice& device) {
    forEachAttribute(data, [&device](const nlattr& attribute) {
        if (typeOf(attribute) == IFLA_VLAN_ID) {
            device.vid = valueOf<u16>(attribute).value_or(0);
        } else if (typeOf(attribute) == IFLA_VLAN_FLAGS) {
            const u32 flags = valueOf<ifla_vlan_flags>(attribute).value_or(ifla_vlan_flags{}).flags;
            device.mvrp = (flags & VLAN_FLAG_MVRP) != 0;
            device.gvrp = (flags & VLAN_FLAG_GVRP) != 0;
        }
    });
}

/// @return whether the interface is a VLAN's
bool readInfo(std::span<const u8> info, VlanDevice& device) {
    bool isVlan = false;
    std::span<const u8> data;
    forEachAttribute(info, [&](const nlattr& attribute) {
        if (typeOf(attribute) == IFLA_INFO_KIND)
            isVlan = textOf(attribute) == "vlan";
        else if (typeOf(attribute) == IFLA_INFO_DATA)
            data = payloadOf(attribute);
    });
    if (isVlan)
        readVlanData(data, device);
    return isVlan;
}

}  // namespace

std::optional<VlanDevice> readVlanDevice(std::span<const u8> payload) {
    const auto record = leadingValue<ifinfomsg>(payload);
    if (!record || record->ifi_index <= 0)
        return std::nullopt;
    VlanDevice device;
    device.index = static_cast<u32>(record->ifi_index);
    bool isVlan = false;
    forEachAttribute(attributesBehind(payload, sizeof *record), [&](const nlattr& attribute) {
        if (typeOf(attribute) == IFLA_IFNAME)
            device.name = textOf(attribute);
        else if (typeOf(attribute) == IFLA_LINK)
            device.lower = valueOf<u32>(attribute).value_or(0);
        else if (typeOf(attribute) == IFLA_LINKINFO)
            isVlan = readInfo(payloadOf(attribute), device);
    });
    return isVlan ? std::optional(device) : std::nullopt;
}

KernelResult dumpVlanDevices(NetlinkSocket& socket, std::vector<VlanDevice>& devices) {
    alignas(nlmsghdr) std::array<char, 256> buffer{};
    nlmsghdr* message = mnl_nlmsg_put_header(buffer.data());
    message->nlmsg_type = RTM_GETLINK;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    auto* record = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(message, sizeof(ifinfomsg)));
    record->ifi_family = AF_UNSPEC;
    devices.clear();
    return socket.dump(*message, [&devices](const NetlinkMessage& link) {
        if (const auto device = readVlanDevice(link.payload))
            devices.push_back(*device);
    });
}

}  // namespace platform
