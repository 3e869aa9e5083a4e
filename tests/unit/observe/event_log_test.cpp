// SPDX-License-Identifier: MIT
#include "platform/observe/event_log.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "tests/unit/runtime/taken_lines.h"
#include "tests/unit/switch/soft_harness.h"
#include "tests/unit/wire/frame_builder.h"

namespace platform::testing {
namespace {

using namespace std::chrono_literals;

constexpr u32 kPort = 3;

class Events : public ::testing::Test {
  protected:
    using Texts = std::vector<std::string>;

    Events() {
        ::testing::internal::CaptureStderr();
        soft.setNews(&log.news());
        feed.setNews(&log.news());
        frames.setNews(&log.news());
        log.begin();
    }
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;
    Events(Events&&) = delete;
    Events& operator=(Events&&) = delete;
    ~Events() override { ::testing::internal::GetCapturedStderr(); }

    void change(const SwitchChangeRecord& record) {
        std::string error;
        ASSERT_EQ(soft.change(record, error), HostStatus::Ok) << error;
    }
    void setLink(u32 unit, bool up) {
        change(changeOf(SwitchChangeKind::PortLink, unit, up ? 1 : 0));
    }
    void setMvrp(u32 unit, bool on) { soft.setProtocol(unit, kProtocolMvrp, on); }
    void addMembers(u32 unit, const VlanBitmap& vlans) {
        feed.switchCalled(SwitchCall::CreateVlans, 0, vlans, soft.createDynamic(vlans));
        feed.switchCalled(SwitchCall::AddMembers, unit, vlans, soft.addDynamic(unit, vlans));
    }
    void removeMembers(u32 unit, const VlanBitmap& vlans) {
        feed.switchCalled(SwitchCall::RemoveMembers, unit, vlans, soft.removeDynamic(unit, vlans));
    }
    void hear(u32 unit) {
        const frames::Bytes frame = frames::nativeFrame("00 01 01 0001 000a 24 0000");
        frames.frameHandled(unit, classifyFrame(frame), DropReason::None, Delivery::Delivered);
    }
    /// What is said next, 100 ms later.
    Texts said() {
        now += 100ms;
        unsaid = log.look(now);
        return lines.take();
    }

    SoftSwitch soft{smallSwitch()};
    std::mutex mutex;
    ChangeFeed feed{soft};
    FrameBook frames{soft, mutex};
    EventLog log{soft, feed, frames};
    TakenLines lines;
    EventLog::Clock::time_point now = EventLog::Clock::now();
    bool unsaid = false;  ///< of the last look
};

TEST_F(Events, NothingIsSaidOfPortsAsTheyAreFound) {
    EXPECT_EQ(said(), Texts{});
}

TEST_F(Events, VlansThatAreLearntTogetherAreOneLineWithRanges) {
    setMvrp(kPort, true);
    EXPECT_EQ(said(), Texts{"port3: takes part"});
    addMembers(kPort, vlanRange(10, 11));
    addMembers(kPort, vlanRange(20, 20));
    EXPECT_EQ(said(), Texts{"port3: VLANs 10-11,20 learnt"});
    EXPECT_EQ(lines.last().event, LogEvent::VlansLearnt);
    EXPECT_EQ(lines.last().port, "port3");
    EXPECT_EQ(lines.last().vlans, "10-11,20");
    EXPECT_EQ(said(), Texts{});
}

TEST_F(Events, VlansThatLeaveAreSaidBeforeThoseThatComeInstead) {
    setMvrp(kPort, true);
    addMembers(kPort, vlanRange(10, 10));
    said();
    removeMembers(kPort, vlanRange(10, 10));
    addMembers(kPort, vlanRange(30, 32));
    EXPECT_EQ(said(), (Texts{"port3: VLAN 10 left", "port3: VLANs 30-32 learnt"}));
}

TEST_F(Events, WhatLeavesAndIsBackWithinALookIsNotSaid) {
    setMvrp(kPort, true);
    addMembers(kPort, vlanRange(10, 10));
    said();
    removeMembers(kPort, vlanRange(10, 10));
    addMembers(kPort, vlanRange(10, 10));
    EXPECT_EQ(said(), Texts{});
}

TEST_F(Events, APortThatFlapsIsSaidSeldomAndAsItIs) {
    setMvrp(kPort, true);
    said();
    std::size_t lineCount = 0;
    for (u32 i = 0; i < 50; i++) {
        i % 2 == 0 ? addMembers(kPort, vlanRange(10, 10)) : removeMembers(kPort, vlanRange(10, 10));
        lineCount += said().size();
    }
    EXPECT_EQ(lineCount, LogLimit::kBurst);
    EXPECT_TRUE(unsaid);
    now += LogLimit::kPause;
    EXPECT_EQ(said(), Texts{"port3: VLAN 10 left"});
    EXPECT_FALSE(unsaid);
    EXPECT_EQ(said(), Texts{});
}

TEST_F(Events, WhateverIsSaidTheNewsAreToldOf) {
    News& news = log.news();
    setMvrp(kPort, true);
    EXPECT_TRUE(news.take());
    setLink(kPort, false);
    EXPECT_TRUE(news.take());
    setLink(kPort, true);
    EXPECT_TRUE(news.take());
    addMembers(kPort, vlanRange(10, 10));
    EXPECT_TRUE(news.take());
    addMembers(kPort, vlanRange(10, 10));
    EXPECT_FALSE(news.take());
    removeMembers(kPort, vlanRange(10, 10));
    EXPECT_TRUE(news.take());
    hear(kPort);
    EXPECT_TRUE(news.take());
    said();
    news.take();
    hear(kPort);
    EXPECT_FALSE(news.take());
    change(changeOf(SwitchChangeKind::PortDelete, kPort));
    EXPECT_TRUE(news.take());
}

TEST_F(Events, AListThatIsTooLongIsCutAndCounted) {
    VlanBitmap even{};
    for (u32 vid = 2; vid <= kLastVlan; vid += 2)
        vlanInsert(even, vid);
    const std::string words = vlanWords(even);
    EXPECT_LT(words.size(), kMostVlanText + 40);
    EXPECT_TRUE(words.starts_with("VLANs 2,4,6,")) << words;
    EXPECT_TRUE(words.ends_with(",... (2047 of them)")) << words;
    EXPECT_EQ(vlanWords(vlanRange(7, 7)), "VLAN 7");
}

TEST_F(Events, LinksAreSaidOnBothWays) {
    setLink(kPort, false);
    EXPECT_EQ(said(), Texts{"port3: link down"});
    EXPECT_EQ(lines.last().event, LogEvent::LinkDown);
    setLink(kPort, true);
    EXPECT_EQ(said(), Texts{"port3: link up"});
}

TEST_F(Events, ANeighbourIsFoundOnceAndLostWithTheLink) {
    hear(kPort);
    hear(kPort);
    EXPECT_EQ(said(), Texts{"port3: neighbour 02:00:00:00:01:02 found"});
    hear(kPort);
    EXPECT_EQ(said(), Texts{});
    setLink(kPort, false);
    EXPECT_EQ(said(), (Texts{"port3: link down",
                             "port3: neighbour 02:00:00:00:01:02 lost: the link is down"}));
    setLink(kPort, true);
    hear(kPort);
    EXPECT_EQ(said(), (Texts{"port3: link up", "port3: neighbour 02:00:00:00:01:02 found"}));
}

TEST_F(Events, ANeighbourThatIsSilentForLongIsLost) {
    hear(kPort);
    EXPECT_EQ(said().size(), 1U);
    now += std::chrono::milliseconds(kNeighbourSilentMs) - 1s;
    EXPECT_EQ(said(), Texts{});
    now += 6s;
    const Texts texts = said();
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_TRUE(texts[0].starts_with(
        "port3: neighbour 02:00:00:00:01:02 lost: nothing was heard of it for 54"))
        << texts[0];
    EXPECT_EQ(lines.last().event, LogEvent::NeighbourLost);
    hear(kPort);
    EXPECT_EQ(said(), Texts{"port3: neighbour 02:00:00:00:01:02 found"});
}

TEST_F(Events, APortThatIsDeletedTakesItsVlansAndNeighboursAlong) {
    setMvrp(kPort, true);
    addMembers(kPort, vlanRange(10, 11));
    hear(kPort);
    said();
    change(changeOf(SwitchChangeKind::PortDelete, kPort));
    EXPECT_EQ(said(), (Texts{"port3: neighbour 02:00:00:00:01:02 lost: the port is gone",
                             "port3: the port is gone, and with it VLANs 10-11"}));
    EXPECT_EQ(lines.last().vlans, "10-11");
    EXPECT_EQ(said(), Texts{});
}

TEST_F(Events, ManyPortsToWhichTheSameHappensShareALine) {
    for (u32 unit = 10; unit < 20; unit++) {
        SwitchChangeRecord record = changeOf(SwitchChangeKind::PortAdd, unit);
        const std::string name = "n" + std::to_string(unit) + "n";
        name.copy(record.text.data(), name.size());
        change(record);
    }
    const Texts texts = said();
    ASSERT_GE(texts.size(), 1U);
    EXPECT_EQ(texts[0],
              "10 ports are there: n10n, n11n, n12n, n13n, n14n, n15n, n16n, n17n and 2 more");
}

}  // namespace
}  // namespace platform::testing
