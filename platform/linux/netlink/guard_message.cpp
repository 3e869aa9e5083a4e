// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/guard_message.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <linux/tc_act/tc_gact.h>
#include <sys/socket.h>

#include <algorithm>

#include "platform/linux/netlink/netlink_attributes.h"

namespace platform {

namespace {

/// Number of the only action of the guard; they count from 1.
constexpr u16 kFirstAction = 1;
constexpr u32 kClsactHandle = TC_H_MAKE(TC_H_CLSACT, 0);
constexpr std::array<u8, ETH_ALEN> kProtocolMac{0x01, 0x80, 0xC2, 0x00, 0x00, 0x21};
constexpr std::array<u8, ETH_ALEN> kWholeMac{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

constexpr u32 parentOf(FilterSide side) {
    return TC_H_MAKE(TC_H_CLSACT, side == FilterSide::Ingress ? TC_H_MIN_INGRESS : TC_H_MIN_EGRESS);
}

/// Starts a request at buffer + used.
tcmsg& putHead(GuardBuffer& buffer, size_t used, u16 type, u16 flags, u32 port) {
    nlmsghdr* header = mnl_nlmsg_put_header(buffer.data() + used);
    header->nlmsg_type = type;
    header->nlmsg_flags = static_cast<u16>(NLM_F_REQUEST | NLM_F_ACK | flags);
    auto* record = static_cast<tcmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(tcmsg)));
    record->tcm_family = AF_UNSPEC;
    record->tcm_ifindex = static_cast<int>(port);
    return *record;
}

nlmsghdr* headerAt(GuardBuffer& buffer, size_t used) {
    return reinterpret_cast<nlmsghdr*>(buffer.data() + used);
}

void finish(GuardBuffer& buffer, size_t& used) {
    used += MNL_ALIGN(headerAt(buffer, used)->nlmsg_len);
}

void putQdisc(GuardBuffer& buffer, size_t& used, u16 type, u16 flags, u32 port) {
    tcmsg& record = putHead(buffer, used, type, flags, port);
    record.tcm_parent = TC_H_CLSACT;
    record.tcm_handle = kClsactHandle;
    mnl_attr_put_strz(headerAt(buffer, used), TCA_KIND, "clsact");
}

void putFilter(GuardBuffer& buffer, size_t used, u16 type, u16 flags, u32 port, GuardPlace place) {
    tcmsg& record = putHead(buffer, used, type, flags, port);
    record.tcm_parent = parentOf(FilterSide::Ingress);
    record.tcm_handle = place.handle;
    record.tcm_info = TC_H_MAKE(static_cast<u32>(place.preference) << 16, htons(ETH_P_ALL));
    mnl_attr_put_strz(headerAt(buffer, used), TCA_KIND, "flower");
}

void putDrop(nlmsghdr* header, std::string_view cookie) {
    tc_gact drop{};
    drop.action = TC_ACT_SHOT;
    nlattr* action = mnl_attr_nest_start(header, kFirstAction);
    mnl_attr_put_strz(header, TCA_ACT_KIND, "gact");
    nlattr* options = mnl_attr_nest_start(header, TCA_ACT_OPTIONS);
    mnl_attr_put(header, TCA_GACT_PARMS, sizeof(drop), &drop);
    mnl_attr_nest_end(header, options);
    mnl_attr_put(header, TCA_ACT_COOKIE, cookie.size(), cookie.data());
    mnl_attr_nest_end(header, action);
}

bool isWhole(const nlattr& attribute, const std::array<u8, ETH_ALEN>& mac) {
    return std::ranges::equal(payloadOf(attribute), mac);
}

/// What a gact action does, with the kernel's numbers (TC_ACT_...).
std::optional<int> verdictOf(std::span<const u8> options) {
    std::optional<int> verdict;
    forEachAttribute(options, [&](const nlattr& option) {
        if (typeOf(option) == TCA_GACT_PARMS)
            if (const auto parameters = valueOf<tc_gact>(option))
                verdict = parameters->action;
    });
    return verdict;
}

/// The first action of a flower filter. @return whether it drops
bool readAction(std::span<const u8> action, TrafficControl& control) {
    bool isGact = false;
    std::optional<int> verdict;
    forEachAttribute(action, [&](const nlattr& attribute) {
        if (typeOf(attribute) == TCA_ACT_COOKIE)
            control.cookie = textOf(attribute);
        else if (typeOf(attribute) == TCA_ACT_KIND)
            isGact = textOf(attribute) == "gact";
        else if (typeOf(attribute) == TCA_ACT_OPTIONS)
            verdict = verdictOf(payloadOf(attribute));
    });
    return isGact && verdict == TC_ACT_SHOT;
}

void readFlower(std::span<const u8> options, TrafficControl& control) {
    bool toProtocol = false;
    bool whole = false;
    bool drops = false;
    forEachAttribute(options, [&](const nlattr& option) {
        if (typeOf(option) == TCA_FLOWER_KEY_ETH_DST)
            toProtocol = isWhole(option, kProtocolMac);
        else if (typeOf(option) == TCA_FLOWER_KEY_ETH_DST_MASK)
            whole = isWhole(option, kWholeMac);
        else if (typeOf(option) == TCA_FLOWER_ACT)
            forEachAttribute(payloadOf(option), [&](const nlattr& action) {
                if (typeOf(action) == kFirstAction)
                    drops = readAction(payloadOf(action), control);
            });
    });
    control.guards = toProtocol && whole && drops;
}

}  // namespace

void putAddClsact(GuardBuffer& buffer, size_t& used, u32 port) {
    putQdisc(buffer, used, RTM_NEWQDISC, NLM_F_CREATE | NLM_F_EXCL, port);
    finish(buffer, used);
}

void putRemoveClsact(GuardBuffer& buffer, size_t& used, u32 port) {
    putQdisc(buffer, used, RTM_DELQDISC, 0, port);
    finish(buffer, used);
}

void putAddGuardFilter(GuardBuffer& buffer, size_t& used, u32 port, GuardPlace place,
                       std::string_view cookie) {
    putFilter(buffer, used, RTM_NEWTFILTER, NLM_F_CREATE | NLM_F_EXCL, port, place);
    nlmsghdr* header = headerAt(buffer, used);
    nlattr* options = mnl_attr_nest_start(header, TCA_OPTIONS);
    mnl_attr_put(header, TCA_FLOWER_KEY_ETH_DST, kProtocolMac.size(), kProtocolMac.data());
    mnl_attr_put(header, TCA_FLOWER_KEY_ETH_DST_MASK, kWholeMac.size(), kWholeMac.data());
    nlattr* actions = mnl_attr_nest_start(header, TCA_FLOWER_ACT);
    putDrop(header, cookie);
    mnl_attr_nest_end(header, actions);
    mnl_attr_nest_end(header, options);
    finish(buffer, used);
}

void putRemoveGuardFilter(GuardBuffer& buffer, size_t& used, u32 port, GuardPlace place) {
    putFilter(buffer, used, RTM_DELTFILTER, 0, port, place);
    finish(buffer, used);
}

nlmsghdr& makeQdiscDump(GuardBuffer& buffer, u32 port) {
    putHead(buffer, 0, RTM_GETQDISC, 0, port);
    return *headerAt(buffer, 0);
}

nlmsghdr& makeFilterDump(GuardBuffer& buffer, u32 port, FilterSide side) {
    putHead(buffer, 0, RTM_GETTFILTER, 0, port).tcm_parent = parentOf(side);
    return *headerAt(buffer, 0);
}

std::optional<TrafficControl> readTrafficControl(std::span<const u8> payload) {
    const auto record = leadingValue<tcmsg>(payload);
    if (!record)
        return std::nullopt;
    TrafficControl control;
    control.index = static_cast<u32>(record->tcm_ifindex);
    control.parent = record->tcm_parent;
    control.place = {static_cast<u16>(record->tcm_info >> 16), record->tcm_handle};
    std::span<const u8> options;
    forEachAttribute(attributesBehind(payload, sizeof(*record)), [&](const nlattr& attribute) {
        if (typeOf(attribute) == TCA_KIND)
            control.kind = textOf(attribute);
        else if (typeOf(attribute) == TCA_OPTIONS)
            options = payloadOf(attribute);
    });
    if (control.kind == "flower")
        readFlower(options, control);
    return control;
}

std::optional<u32> trafficControlIndex(std::span<const u8> payload) {
    const auto record = leadingValue<tcmsg>(payload);
    if (!record || record->tcm_ifindex <= 0)
        return std::nullopt;
    return static_cast<u32>(record->tcm_ifindex);
}

}  // namespace platform
