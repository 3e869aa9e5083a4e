// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/rtnl_events.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "platform/linux/netlink/bridge_vlan_message.h"
#include "platform/linux/netlink/guard.h"
#include "platform/linux/netlink/rtnl_dump.h"
#include "platform/runtime/log.h"

namespace platform {

namespace {

/// Room for about 100 link notifications of the longest kind (17 KB, and what the kernel counts on
/// top) for each of several busy ports; a request of 4094 VLANs makes one.
constexpr int kNotificationBytes = 8 << 20;
/// Datagrams read before the events are handled.
constexpr int kReadBatch = 256;

}  // namespace

KernelResult RtnlEvents::open() {
    KernelResult result = notifications_.open(false);
    if (result)
        result = queries_.open(true);
    if (!result)
        return result;
    notifications_.setReceiveBuffer(kNotificationBytes);
    result = notifications_.join(RTNLGRP_LINK);
    if (result)
        result = notifications_.join(RTNLGRP_BRVLAN);
    if (result)
        result = notifications_.join(RTNLGRP_TC);
    return result ? remember() : result;
}

void RtnlEvents::read(std::vector<KernelEvent>& events) {
    const auto visit = [&](const NetlinkMessage& message) { take(message, events); };
    auto read = NetlinkSocket::Read::Data;
    for (int i = 0; i < kReadBatch && read == NetlinkSocket::Read::Data; i++)
        read = notifications_.readWaiting(visit);
    if (read == NetlinkSocket::Read::Lost)
        lose(events);
    readIncomplete(events);
}

void RtnlEvents::take(const NetlinkMessage& message, std::vector<KernelEvent>& events) {
    if (message.type == RTM_NEWVLAN || message.type == RTM_DELVLAN) {
        if (const auto index = vlanMessageIndex(message.payload))
            incomplete_.insert(*index);
        return;
    }
    if (message.type >= RTM_NEWQDISC && message.type <= RTM_GETTFILTER) {
        takeTrafficControl(message);
        return;
    }
    // A bridge tells the removal of VLANs with RTM_DELLINK, too, and some additions with
    // RTM_SETLINK.
    if (message.type != RTM_NEWLINK && message.type != RTM_DELLINK && message.type != RTM_SETLINK)
        return;
    const auto family = linkFamily(message.payload);
    if (family == AF_BRIDGE) {
        if (const auto port = readBridgePort(message.payload))
            takeBridgePort(*port, events);
    } else if (family == AF_UNSPEC) {
        auto link = readLink(message.payload);
        if (link && message.type == RTM_NEWLINK)
            takeLink(std::move(*link), events);
        else if (link && message.type == RTM_DELLINK)
            takeLinkGone(std::move(*link), events);
    }
}

void RtnlEvents::takeLink(KernelLink link, std::vector<KernelEvent>& events) {
    const auto known = links_.find(link.index);
    if (known != links_.end()) {
        if (known->second == link)
            return;
        if (known->second.bridgePort && known->second.master != link.master)
            events.push_back({KernelEventKind::PortRemoved, known->second, {}});
    }
    links_[link.index] = link;
    events.push_back({KernelEventKind::Link, std::move(link), {}});
}

void RtnlEvents::takeLinkGone(KernelLink link, std::vector<KernelEvent>& events) {
    links_.erase(link.index);
    incomplete_.erase(link.index);
    filtered_.erase(link.index);
    events.push_back({KernelEventKind::LinkGone, std::move(link), {}});
}

void RtnlEvents::takeBridgePort(const BridgePortMessage& message,
                                std::vector<KernelEvent>& events) {
    const auto known = links_.find(message.index);
    if (known == links_.end())
        return;
    KernelLink& link = known->second;
    if (message.stpState && link.bridgePort && link.stpState != *message.stpState) {
        link.stpState = *message.stpState;
        events.push_back({KernelEventKind::Link, link, {}});
    }
    if (!message.vlans) {
        incomplete_.insert(message.index);
        return;
    }
    incomplete_.erase(message.index);
    events.push_back({KernelEventKind::Vlans, {}, *message.vlans});
}

void RtnlEvents::takeTrafficControl(const NetlinkMessage& message) {
    const auto index = trafficControlIndex(message.payload);
    const auto known = index ? links_.find(*index) : links_.end();
    if (known != links_.end() && known->second.bridgePort)
        filtered_.insert(*index);
}

void RtnlEvents::readIncomplete(std::vector<KernelEvent>& events) {
    std::vector<KernelVlans> vlans;
    for (const u32 index : incomplete_) {
        // A port that left meanwhile is told by other messages.
        if (!dumpVlans(queries_, index, vlans))
            continue;
        if (vlans.empty())
            vlans.push_back({.index = index});
        events.push_back({KernelEventKind::Vlans, {}, vlans.front()});
    }
    incomplete_.clear();
    for (const u32 index : filtered_) {
        GuardState state;
        if (!dumpGuard(queries_, index, bridge_, state))
            continue;
        KernelEvent& event = events.emplace_back();
        event.kind = KernelEventKind::Guard;
        event.link.index = index;
        event.guarded = state.present;
    }
    filtered_.clear();
}

void RtnlEvents::lose(std::vector<KernelEvent>& events) {
    // What waits still is older than what was lost, and would be believed after the next full read.
    auto read = NetlinkSocket::Read::Lost;
    while (read != NetlinkSocket::Read::Empty)
        read = notifications_.readWaiting([](const NetlinkMessage&) {});
    incomplete_.clear();
    filtered_.clear();
    if (const KernelResult result = remember(); !result)
        logMessage(LogPriority::Error, "the interfaces cannot be read again: %s",
                   result.what.c_str());
    events.push_back({KernelEventKind::Lost, {}, {}});
}

KernelResult RtnlEvents::remember() {
    std::vector<KernelLink> links;
    KernelResult result = dumpLinks(queries_, links);
    links_.clear();
    for (KernelLink& link : links)
        links_.emplace(link.index, std::move(link));
    return result;
}

}  // namespace platform
