// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/bridge_vlan_message.h"

#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>

#include "platform/linux/netlink/netlink_attributes.h"

namespace platform {

namespace {

/// Enters VLANs `first` to `last` with the flags of an entry.
void enter(KernelVlans& vlans, u32 first, u32 last, u16 flags) {
    last = std::min(last, kLastVlan);
    for (u32 vid = std::max(first, kFirstVlan); vid <= last; vid++) {
        vlanInsert(vlans.carried, vid);
        if ((flags & BRIDGE_VLAN_INFO_UNTAGGED) != 0)
            vlanInsert(vlans.untagged, vid);
        if ((flags & BRIDGE_VLAN_INFO_PVID) != 0)
            vlans.pvid = vid;
    }
}

void putVlan(nlmsghdr* message, u32 vid, u16 flags) {
    const bridge_vlan_info info{flags, static_cast<u16>(vid)};
    mnl_attr_put(message, IFLA_BRIDGE_VLAN_INFO, sizeof(info), &info);
}

/// One VLAN is one attribute, a range is its first and its last.
void putRange(nlmsghdr* message, u32 first, u32 last) {
    if (first == last) {
        putVlan(message, first, 0);
    } else {
        putVlan(message, first, BRIDGE_VLAN_INFO_RANGE_BEGIN);
        putVlan(message, last, BRIDGE_VLAN_INFO_RANGE_END);
    }
}

void putRanges(nlmsghdr* message, const VlanBitmap& vlans) {
    for (u32 vid = kFirstVlan; vid <= kLastVlan; vid++) {
        if (!vlanContains(vlans, vid))
            continue;
        const u32 first = vid;
        while (vid < kLastVlan && vlanContains(vlans, vid + 1))
            vid++;
        putRange(message, first, vid);
    }
}

}  // namespace

std::optional<KernelVlans> readVlanList(u32 index, std::span<const u8> list) {
    std::optional<KernelVlans> vlans;
    u32 first = 0;  // of a range whose end has not been read
    forEachAttribute(list, [&](const nlattr& attribute) {
        if (typeOf(attribute) != IFLA_BRIDGE_VLAN_INFO)
            return;
        const auto info = valueOf<bridge_vlan_info>(attribute);
        if (!info)
            return;
        if (!vlans)
            vlans = KernelVlans{.index = index};
        if ((info->flags & BRIDGE_VLAN_INFO_RANGE_BEGIN) != 0) {
            first = info->vid;
            return;
        }
        const bool ends = (info->flags & BRIDGE_VLAN_INFO_RANGE_END) != 0 && first != 0;
        enter(*vlans, ends ? first : info->vid, info->vid, info->flags);
        first = 0;
    });
    return vlans;
}

std::optional<u32> vlanMessageIndex(std::span<const u8> payload) {
    const auto record = leadingValue<br_vlan_msg>(payload);
    return record ? std::optional<u32>(record->ifindex) : std::nullopt;
}

void readVlanMessage(std::span<const u8> payload, KernelVlans& vlans) {
    forEachAttribute(attributesBehind(payload, sizeof(br_vlan_msg)), [&](const nlattr& entry) {
        if (typeOf(entry) != BRIDGE_VLANDB_ENTRY)
            return;
        std::optional<bridge_vlan_info> info;
        std::optional<u16> last;
        forEachAttribute(payloadOf(entry), [&](const nlattr& attribute) {
            if (typeOf(attribute) == BRIDGE_VLANDB_ENTRY_INFO)
                info = valueOf<bridge_vlan_info>(attribute);
            else if (typeOf(attribute) == BRIDGE_VLANDB_ENTRY_RANGE)
                last = valueOf<u16>(attribute);
        });
        if (info)
            enter(vlans, info->vid, last.value_or(info->vid), info->flags);
    });
}

VlanDumpRequest::VlanDumpRequest(u32 index) {
    nlmsghdr* header = mnl_nlmsg_put_header(buffer_.data());
    header->nlmsg_type = RTM_GETVLAN;
    auto* record =
        static_cast<br_vlan_msg*>(mnl_nlmsg_put_extra_header(header, sizeof(br_vlan_msg)));
    record->family = AF_BRIDGE;
    record->ifindex = index;
}

nlmsghdr& VlanDumpRequest::message() {
    return *reinterpret_cast<nlmsghdr*>(buffer_.data());
}

VlanChangeRequest::VlanChangeRequest(u32 port, VlanChange change, const VlanBitmap& vlans) {
    nlmsghdr* header = mnl_nlmsg_put_header(buffer_.data());
    header->nlmsg_type = change == VlanChange::Add ? RTM_SETLINK : RTM_DELLINK;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    auto* record = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
    record->ifi_family = AF_BRIDGE;
    record->ifi_index = static_cast<int>(port);
    nlattr* list = mnl_attr_nest_start(header, IFLA_AF_SPEC);
    putRanges(header, vlans);
    mnl_attr_nest_end(header, list);
}

std::span<u8> VlanChangeRequest::bytes() {
    return {buffer_.data(), reinterpret_cast<const nlmsghdr*>(buffer_.data())->nlmsg_len};
}

}  // namespace platform
