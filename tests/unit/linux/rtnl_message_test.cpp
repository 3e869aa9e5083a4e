// SPDX-License-Identifier: MIT
//
// Netlink messages: what is written can be read, and what is read can be anything.
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "platform/linux/netlink/bridge_vlan_message.h"
#include "platform/linux/netlink/guard_message.h"
#include "platform/linux/netlink/link_message.h"
#include "platform/linux/netlink/netlink_attributes.h"
#include "platform/linux/netlink/netlink_socket.h"
#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

constexpr u32 kPort = 7;
constexpr u32 kBridge = 3;

/// A message under construction.
struct Draft {
    explicit Draft(u16 type) : header(mnl_nlmsg_put_header(buffer.data())) {
        header->nlmsg_type = type;
    }

    template <typename Record>
    Record& record() {
        return *static_cast<Record*>(mnl_nlmsg_put_extra_header(header, sizeof(Record)));
    }
    std::vector<u8> payload() const {
        const auto* first = static_cast<const u8*>(mnl_nlmsg_get_payload(header));
        return {first, first + mnl_nlmsg_get_payload_len(header)};
    }
    void putVlan(u16 vid, u16 flags) {
        const bridge_vlan_info info{flags, vid};
        mnl_attr_put(header, IFLA_BRIDGE_VLAN_INFO, sizeof(info), &info);
    }

    alignas(4) std::array<u8, 8192> buffer{};
    nlmsghdr* header;
};

VlanBitmap vlans(std::string_view text) {
    return parseVlanRanges(text).value();
}

/// The list within a request.
std::optional<KernelVlans> listOf(VlanChangeRequest& request) {
    std::optional<KernelVlans> list;
    forEachMessage(request.bytes(), [&](const NetlinkMessage& message) {
        list = readBridgePort(message.payload)->vlans;
    });
    return list;
}

std::vector<u8> linkPayload() {
    Draft draft(RTM_NEWLINK);
    auto& record = draft.record<ifinfomsg>();
    record.ifi_index = kPort;
    record.ifi_flags = IFF_UP | 0x10000;  // IFF_LOWER_UP
    mnl_attr_put_strz(draft.header, IFLA_IFNAME, "tap0");
    mnl_attr_put_u32(draft.header, IFLA_MTU, 1500);
    mnl_attr_put_u32(draft.header, IFLA_MASTER, kBridge);
    const std::array<u8, 6> mac{2, 0, 0, 0, 0, 9};
    mnl_attr_put(draft.header, IFLA_ADDRESS, mac.size(), mac.data());
    nlattr* info = mnl_attr_nest_start(draft.header, IFLA_LINKINFO);
    mnl_attr_put_strz(draft.header, IFLA_INFO_KIND, "bond");
    mnl_attr_put_strz(draft.header, IFLA_INFO_SLAVE_KIND, "bridge");
    nlattr* data = mnl_attr_nest_start(draft.header, IFLA_INFO_SLAVE_DATA);
    mnl_attr_put_u8(draft.header, IFLA_BRPORT_STATE, 4);
    mnl_attr_nest_end(draft.header, data);
    mnl_attr_nest_end(draft.header, info);
    return draft.payload();
}

std::vector<u8> bridgePayload() {
    Draft draft(RTM_NEWLINK);
    auto& record = draft.record<ifinfomsg>();
    record.ifi_family = AF_BRIDGE;
    record.ifi_index = kPort;
    mnl_attr_put_u32(draft.header, IFLA_MASTER, kBridge);
    nlattr* info = mnl_attr_nest_start(draft.header, IFLA_PROTINFO);
    mnl_attr_put_u8(draft.header, IFLA_BRPORT_STATE, 2);
    mnl_attr_nest_end(draft.header, info);
    nlattr* list = mnl_attr_nest_start(draft.header, IFLA_AF_SPEC);
    draft.putVlan(1, BRIDGE_VLAN_INFO_PVID | BRIDGE_VLAN_INFO_UNTAGGED);
    draft.putVlan(10, BRIDGE_VLAN_INFO_RANGE_BEGIN);
    draft.putVlan(20, BRIDGE_VLAN_INFO_RANGE_END);
    mnl_attr_nest_end(draft.header, list);
    return draft.payload();
}

std::vector<u8> vlanPayload() {
    Draft draft(RTM_NEWVLAN);
    auto& record = draft.record<br_vlan_msg>();
    record.family = AF_BRIDGE;
    record.ifindex = kPort;
    for (const u16 first : {u16{5}, u16{30}}) {
        nlattr* entry = mnl_attr_nest_start(draft.header, BRIDGE_VLANDB_ENTRY);
        const bridge_vlan_info info{BRIDGE_VLAN_INFO_UNTAGGED, first};
        mnl_attr_put(draft.header, BRIDGE_VLANDB_ENTRY_INFO, sizeof(info), &info);
        mnl_attr_put_u16(draft.header, BRIDGE_VLANDB_ENTRY_RANGE, static_cast<u16>(first + 2));
        mnl_attr_nest_end(draft.header, entry);
    }
    return draft.payload();
}

constexpr GuardPlace kPlace{kFirstGuardPreference, guardHandle("br0")};

std::vector<u8> filterPayload() {
    alignas(4) GuardBuffer buffer;
    size_t used = 0;
    putAddGuardFilter(buffer, used, kPort, kPlace, "mvrp guard");
    const u8* first = buffer.data() + sizeof(nlmsghdr);
    return std::vector<u8>(first, static_cast<const u8*>(buffer.data()) + used);
}

std::vector<u8> answerPayload(const char* text) {
    Draft draft(NLMSG_ERROR);
    auto& record = draft.record<nlmsgerr>();
    record.error = -EBUSY;
    record.msg.nlmsg_len = sizeof(nlmsghdr);
    mnl_attr_put_strz(draft.header, NLMSGERR_ATTR_MSG, text);
    return draft.payload();
}

TEST(RtnlMessage, LinkIsReadWhole) {
    const auto link = readLink(linkPayload());
    ASSERT_TRUE(link);
    EXPECT_EQ(link->index, kPort);
    EXPECT_EQ(link->name, "tap0");
    EXPECT_EQ(link->mtu, 1500U);
    EXPECT_EQ(link->master, kBridge);
    EXPECT_EQ(link->mac, (std::array<u8, 6>{2, 0, 0, 0, 0, 9}));
    EXPECT_EQ(link->kind, LinkKind::Bond);
    EXPECT_TRUE(link->adminUp && link->carrier && link->bridgePort);
    EXPECT_EQ(link->stpState, StpState::Blocking);
}

TEST(RtnlMessage, BridgePortTellsItsStateAndEntries) {
    const auto port = readBridgePort(bridgePayload());
    ASSERT_TRUE(port && port->vlans);
    EXPECT_EQ(port->index, kPort);
    EXPECT_EQ(port->bridge, kBridge);
    EXPECT_EQ(port->stpState, StpState::Learning);
    EXPECT_EQ(port->vlans->carried, vlans("1,10-20"));
    EXPECT_EQ(port->vlans->untagged, vlans("1"));
    EXPECT_EQ(port->vlans->pvid, 1U);
}

TEST(RtnlMessage, VlanDumpEntriesAreRanges) {
    KernelVlans read;
    readVlanMessage(vlanPayload(), read);
    EXPECT_EQ(vlanMessageIndex(vlanPayload()), kPort);
    EXPECT_EQ(read.carried, vlans("5-7,30-32"));
    EXPECT_EQ(read.untagged, read.carried);
    EXPECT_EQ(read.pvid, 0U);
}

TEST(RtnlMessage, GuardFilterBearsItsMark) {
    const std::vector<u8> payload = filterPayload();
    const auto filter = readTrafficControl(payload);
    ASSERT_TRUE(filter);
    EXPECT_EQ(filter->index, kPort);
    EXPECT_EQ(filter->kind, "flower");
    EXPECT_EQ(filter->cookie, "mvrp guard");
    EXPECT_EQ(filter->place, kPlace);
    EXPECT_TRUE(filter->guards);
    EXPECT_EQ(trafficControlIndex(payload), kPort);
}

TEST(RtnlMessage, AFilterThatDropsSomethingElseIsNoGuard) {
    const std::array<u8, 6> address{0x01, 0x80, 0xC2, 0x00, 0x00, 0x21};
    std::vector<u8> payload = filterPayload();
    const auto at = std::search(payload.begin(), payload.end(), address.begin(), address.end());
    ASSERT_NE(at, payload.end());
    at[5] = 0x0E;
    const auto filter = readTrafficControl(payload);
    ASSERT_TRUE(filter);
    EXPECT_EQ(filter->cookie, "mvrp guard");
    EXPECT_FALSE(filter->guards);
}

TEST(RtnlMessage, AnAnswerThatDoesNotComeIsNotWaitedForWithoutEnd) {
    NetlinkSocket socket;
    ASSERT_TRUE(socket.open(true, std::chrono::milliseconds(20)));
    // Nobody asked for an answer to it.
    nlmsghdr nothing{sizeof(nlmsghdr), NLMSG_NOOP, NLM_F_REQUEST, 0, 0};
    EXPECT_EQ(socket.request({reinterpret_cast<u8*>(&nothing), sizeof nothing}).error, ETIMEDOUT);
}

TEST(RtnlMessage, EachBridgeHasGuardsOfItsOwn) {
    std::set<u32> handles{0, kSharedGuardHandle};
    for (const char* bridge : {"br0", "br1", "br01", "vmbr0", "a-bridge-of-15ch"})
        EXPECT_TRUE(handles.insert(guardHandle(bridge)).second) << bridge;
}

TEST(RtnlMessage, AnswersSayWhatTheKernelSaid) {
    const std::vector<u8> payload = answerPayload("Device is busy being fixed");
    const KernelResult plain = readAnswer({NLMSG_ERROR, 0, 1, payload});
    EXPECT_EQ(plain.error, EBUSY);
    const KernelResult result =
        readAnswer({NLMSG_ERROR, NLM_F_CAPPED | NLM_F_ACK_TLVS, 1, payload});
    EXPECT_EQ(result.error, EBUSY);
    EXPECT_NE(result.what.find("Device is busy being fixed"), std::string::npos);
}

TEST(RtnlMessage, EveryRequestHoldsExactlyItsVlans) {
    std::mt19937 random(1);
    std::vector<VlanBitmap> sets{vlans("2"), vlans("4094"), vlans("1-4094"), vlans("1-2,4-5")};
    VlanBitmap odd{};
    VlanBitmap pairs{};
    for (u32 vid = kFirstVlan; vid <= kLastVlan; vid++) {
        if (vid % 2 != 0)
            vlanInsert(odd, vid);
        if (vid % 3 != 0)
            vlanInsert(pairs, vid);  // what takes most room
    }
    sets.insert(sets.end(), {odd, pairs});
    for (int i = 0; i < 200; i++) {
        VlanBitmap set{};
        for (auto count = random() % 3000 + 1; count != 0; count--)
            vlanInsert(set, static_cast<u32>(random() % kLastVlan + 1));
        sets.push_back(set);
    }
    for (const VlanBitmap& set : sets) {
        VlanChangeRequest request(kPort, VlanChange::Add, set);
        const auto list = listOf(request);
        ASSERT_TRUE(list);
        EXPECT_EQ(list->carried, set) << formatVlanRanges(set);
        EXPECT_EQ(list->untagged, VlanBitmap{});
    }
}

TEST(RtnlMessage, ListsThatMakeNoSenseAreReadWithinBounds) {
    Draft draft(RTM_NEWLINK);
    draft.record<ifinfomsg>().ifi_index = kPort;
    nlattr* list = mnl_attr_nest_start(draft.header, IFLA_AF_SPEC);
    draft.putVlan(20, BRIDGE_VLAN_INFO_RANGE_END);  // an end without a start: itself
    draft.putVlan(4090, BRIDGE_VLAN_INFO_RANGE_BEGIN);
    draft.putVlan(65535, BRIDGE_VLAN_INFO_RANGE_END);  // beyond what a set holds
    draft.putVlan(30, BRIDGE_VLAN_INFO_RANGE_BEGIN);
    draft.putVlan(25, BRIDGE_VLAN_INFO_RANGE_END);  // backwards: none
    draft.putVlan(0, 0);
    draft.putVlan(40, BRIDGE_VLAN_INFO_RANGE_BEGIN);  // a start without an end: none
    mnl_attr_nest_end(draft.header, list);
    const auto port = readBridgePort(draft.payload());
    ASSERT_TRUE(port && port->vlans);
    EXPECT_EQ(port->vlans->carried, vlans("20,4090-4094"));
}

void expectPossible(const KernelVlans& vlans) {
    EXPECT_TRUE(vlanIsValid(vlans.carried)) << formatVlanRanges(vlans.carried);
    EXPECT_EQ(vlanDifference(vlans.untagged, vlans.carried), VlanBitmap{});
    EXPECT_LE(vlans.pvid, kLastVlan);
}

/// Reads `payload` as everything that the kernel could send. What is read is what there can be.
void readAll(std::span<const u8> payload) {
    linkFamily(payload);
    if (const auto link = readLink(payload)) {
        EXPECT_LE(link->name.size(), payload.size());
    }
    if (const auto port = readBridgePort(payload); port && port->vlans)
        expectPossible(*port->vlans);
    KernelVlans read;
    readVlanMessage(payload, read);
    expectPossible(read);
    vlanMessageIndex(payload);
    if (const auto control = readTrafficControl(payload)) {
        EXPECT_LE(control->kind.size() + control->cookie.size(), payload.size() * 2);
    }
    for (const u32 flags : {0U, u32{NLM_F_ACK_TLVS}, u32{NLM_F_ACK_TLVS | NLM_F_CAPPED}})
        readAnswer({NLMSG_ERROR, flags, 1, payload});
    forEachMessage(payload, [](const NetlinkMessage&) {});
}

/// A copy that ends with its memory, so that the sanitizer sees a byte read too many.
void readCopy(std::span<const u8> bytes) {
    const std::vector<u8> copy(bytes.begin(), bytes.end());
    readAll(copy);
}

TEST(RtnlMessage, TruncatedAnywhereIsSafe) {
    for (const auto& payload :
         {linkPayload(), bridgePayload(), vlanPayload(), filterPayload(), answerPayload("text")})
        for (size_t length = 0; length <= payload.size(); length++)
            readCopy(std::span(payload).first(length));
}

TEST(RtnlMessage, CorruptedAnyhowIsSafe) {
    std::mt19937 random(2);
    const std::vector<std::vector<u8>> seeds{linkPayload(), bridgePayload(), vlanPayload(),
                                             filterPayload(), answerPayload("text")};
    for (int i = 0; i < 20000; i++) {
        std::vector<u8> bytes = seeds[random() % seeds.size()];
        for (auto changes = random() % 6 + 1; changes != 0; changes--)
            bytes[random() % bytes.size()] = static_cast<u8>(random());
        bytes.resize(random() % (bytes.size() + 1));
        readCopy(bytes);
    }
}

}  // namespace
}  // namespace platform
