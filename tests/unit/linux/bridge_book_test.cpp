// SPDX-License-Identifier: MIT
//
// What follows from the records of a bridge, and what notifications are reason to look.
#include "platform/linux/bridge_book.h"

#include <gtest/gtest.h>

#include "platform/linux/churn.h"
#include "tests/unit/switch/driver_contract.h"

namespace platform::testing {
namespace {

KernelLink portLink(u32 index, u32 master) {
    KernelLink link;
    link.index = index;
    link.master = master;
    link.name = "eth" + std::to_string(index);
    link.mtu = 1500;
    link.adminUp = link.carrier = link.bridgePort = true;
    link.stpState = StpState::Forwarding;
    return link;
}

KernelLink bridgeLink(u32 index, const std::string& name) {
    KernelLink link;
    link.index = index;
    link.kind = LinkKind::Bridge;
    link.name = name;
    link.vlanFiltering = true;
    return link;
}

class Book : public ::testing::Test {
  protected:
    void SetUp() override {
        links = {bridgeLink(1, "br0"), bridgeLink(2, "br1"), portLink(5, 1), portLink(3, 1),
                 portLink(6, 2)};
        vlans = {{1, vlanSet({1, 9}), vlanSet({1}), 1},
                 {5, vlanSet({1, 20, 30}), vlanSet({1}), 1},
                 {6, vlanSet({99}), {}, 0}};
        book = readBook(links, vlans, "br0");
    }
    Churn weigh(const KernelEvent& event) { return weighEvents({&event, 1}, book, "br0"); }
    static KernelEvent linkEvent(const KernelLink& link) {
        return {KernelEventKind::Link, link, {}};
    }

    std::vector<KernelLink> links;
    std::vector<KernelVlans> vlans;
    BridgeBook book;
};

TEST_F(Book, HoldsTheBridgeOfThatNameAndItsPortsInOrder) {
    EXPECT_EQ(book.bridge.index, 1U);
    EXPECT_EQ(book.bridgeVlans, vlanSet({1, 9}));
    ASSERT_EQ(book.ports.size(), 2U);
    EXPECT_EQ(book.ports[0].link.index, 3U);
    EXPECT_EQ(book.ports[0].carried, VlanBitmap{}) << "no entries were told";
    EXPECT_EQ(book.ports[1].carried, vlanSet({1, 20, 30}));
    EXPECT_EQ(readBook(links, vlans, "br7").bridge.index, 0U);
    EXPECT_EQ(readBook(links, vlans, "eth5").bridge.index, 0U) << "no bridge";
}

TEST_F(Book, StaticIsAllThatIsNotTheDaemons) {
    book.ports[1].added = vlanSet({20});
    EXPECT_EQ(book.staticVlans(VlanOne::AsFound), vlanSet({1, 9, 30}));
}

TEST_F(Book, UntaggedAndPvidEntriesAreNotTheDaemons) {
    BridgePort& port = book.ports[1];
    port.added = vlanSet({1, 20, 30, 40});
    port.pvid = 30;
    EXPECT_EQ(port.takenOver(), vlanSet({1, 30}));
}

TEST_F(Book, AnMtuThatTheDaemonCanNotKeepIsTheLargestThatItCan) {
    book.ports[0].link.mtu = 65536;
    EXPECT_EQ(describePort(book.ports[0], vlanSet({1}), {}, true).mtu, 65535U);
}

TEST_F(Book, WhatIsKnownIsNoReasonToLook) {
    EXPECT_FALSE(weigh(linkEvent(links[2])).look);
    EXPECT_FALSE(weigh(linkEvent(links[0])).look);
    EXPECT_FALSE(weigh({KernelEventKind::Vlans, {}, vlans[1]}).look);
    EXPECT_FALSE(weigh({KernelEventKind::Vlans, {}, vlans[0]}).look);
    EXPECT_FALSE(weigh({KernelEventKind::Vlans, {}, vlans[2]}).look) << "of another bridge";
    EXPECT_FALSE(weigh(linkEvent(portLink(6, 2))).look);
    EXPECT_FALSE(weigh({KernelEventKind::LinkGone, links[4], {}}).look);
    EXPECT_FALSE(weigh({KernelEventKind::PortRemoved, links[4], {}}).look);
}

TEST_F(Book, WhatIsNewIsReasonToLook) {
    KernelLink renamed = links[2];
    renamed.name = "uplink";
    EXPECT_TRUE(weigh(linkEvent(renamed)).look);
    EXPECT_TRUE(weigh(linkEvent(portLink(8, 1))).look) << "a new port";
    EXPECT_TRUE(weigh(linkEvent(bridgeLink(10, "br0"))).look) << "the bridge made again";
    EXPECT_TRUE(weigh({KernelEventKind::LinkGone, links[0], {}}).look);
    KernelVlans entries = vlans[1];
    vlanInsert(entries.untagged, 20);
    EXPECT_TRUE(weigh({KernelEventKind::Vlans, {}, entries}).look);
    const Churn lost = weigh({KernelEventKind::Lost, {}, {}});
    EXPECT_TRUE(lost.look);
    EXPECT_TRUE(lost.lost);
}

TEST_F(Book, TheLastWordAboutAPortCountsAndWhatHappenedBetweenIsKept) {
    KernelLink down = links[2];
    down.carrier = false;
    const std::vector<KernelEvent> flap = {linkEvent(down), linkEvent(links[2])};
    Churn churn = weighEvents(flap, book, "br0");
    EXPECT_TRUE(churn.look);
    EXPECT_EQ(churn.bounced, std::vector<u32>{5});

    KernelVlans half = vlans[1];
    vlanErase(half.carried, 30);
    const std::vector<KernelEvent> catchUp = {{KernelEventKind::Vlans, {}, half},
                                              {KernelEventKind::Vlans, {}, vlans[1]}};
    EXPECT_FALSE(weighEvents(catchUp, book, "br0").look) << "an older one of our own changes";

    const std::vector<KernelEvent> away = {{KernelEventKind::PortRemoved, links[2], {}},
                                           {KernelEventKind::LinkGone, links[3], {}}};
    churn = weighEvents(away, book, "br0");
    EXPECT_EQ(churn.removed, std::vector<u32>{5});
    EXPECT_EQ(churn.gone, std::vector<u32>{3});
}

}  // namespace
}  // namespace platform::testing
