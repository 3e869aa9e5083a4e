// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/rtnl_dump.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "platform/linux/netlink/bridge_vlan_message.h"
#include "platform/linux/netlink/link_message.h"

namespace platform {

namespace {

/// How often a list that changes meanwhile is read before giving up.
constexpr int kDumpTries = 10;

/// Fills `list` from the messages of type `type` that answer `message`.
template <typename Record, typename Enter>
KernelResult dumpList(NetlinkSocket& socket, nlmsghdr& message, u32 type, std::vector<Record>& list,
                      Enter enter) {
    KernelResult result;
    for (int tries = 0; tries < kDumpTries; tries++) {
        list.clear();
        result = socket.dump(message, [&](const NetlinkMessage& part) {
            if (part.type == type)
                enter(part.payload);
        });
        if (result.error != EINTR)
            break;
    }
    if (!result)
        list.clear();
    std::sort(list.begin(), list.end(),
              [](const Record& a, const Record& b) { return a.index < b.index; });
    return result;
}

}  // namespace

KernelResult dumpLinks(NetlinkSocket& socket, std::vector<KernelLink>& links) {
    alignas(4) std::array<u8, 64> buffer{};
    nlmsghdr* header = mnl_nlmsg_put_header(buffer.data());
    header->nlmsg_type = RTM_GETLINK;
    mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg));
    mnl_attr_put_u32(header, IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
    return dumpList(socket, *header, RTM_NEWLINK, links, [&](std::span<const u8> payload) {
        if (auto link = readLink(payload))
            links.push_back(std::move(*link));
    });
}

KernelResult dumpVlans(NetlinkSocket& socket, u32 index, std::vector<KernelVlans>& vlans) {
    VlanDumpRequest request(index);
    return dumpList(socket, request.message(), RTM_NEWVLAN, vlans,
                    [&](std::span<const u8> payload) {
                        const auto of = vlanMessageIndex(payload);
                        if (!of)
                            return;
                        // A long list comes in several messages, one after the other.
                        if (vlans.empty() || vlans.back().index != *of)
                            vlans.push_back({.index = *of});
                        readVlanMessage(payload, vlans.back());
                    });
}

}  // namespace platform
