// SPDX-License-Identifier: MIT
#include "platform/wire/events.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "platform/wire/pcap.h"
#include "tests/unit/wire/frame_builder.h"

namespace platform {
namespace {

using Events = std::vector<std::pair<u32, PduEvent>>;

class Collect final : public EventSink {
  public:
    void onEvent(u32 vid, PduEvent event) override { events.emplace_back(vid, event); }
    Events events;
};

Events walk(const frames::Bytes& frame, DropReason expected = DropReason::None) {
    Collect sink;
    EXPECT_EQ(walkEvents(classifyFrame(frame), sink), expected);
    return sink.events;
}

TEST(Events, ANativePduIsReadWithItsLeaveAll) {
    // 10: JoinIn, 11: Lv, 12: Mt, 13: New; packed 1*36 + 5*6 + 4 = 70, 0.
    EXPECT_EQ(walk(frames::nativeFrame("00 01 01 2004 000a 46 00 0000")),
              (Events{{0, PduEvent::LeaveAll},
                      {10, PduEvent::JoinIn},
                      {11, PduEvent::Lv},
                      {12, PduEvent::Mt},
                      {13, PduEvent::New}}));
}

TEST(Events, AStandardPduMayHoldSeveralMessages) {
    // A message of attribute type 9 with three bytes of value is passed over.
    EXPECT_EQ(walk(frames::ieeeFrame("00 09 03 0001 000001 6c 0000 01 02 0001 0014 6c 0000 0000")),
              (Events{{20, PduEvent::JoinMt}}));
}

TEST(Events, AGvrpPduIsReadAttributeByAttribute) {
    EXPECT_EQ(
        walk(frames::gvrpFrame("0001 01 02 00 04 02 000a 04 03 000b 00 00")),
        (Events{
            {0, PduEvent::LeaveAll}, {10, PduEvent::GvrpJoinIn}, {11, PduEvent::GvrpLeaveEmpty}}));
}

TEST(Events, WhatStandsBeforeABreakIsHandedOver) {
    EXPECT_EQ(walk(frames::nativeFrame("00 01 01 0001 000a 24 0009 0014 24"), DropReason::BadPdu),
              (Events{{10, PduEvent::JoinIn}}));
    EXPECT_EQ(walk(frames::ieeeFrame("00 01 03 0001 00000a 24"), DropReason::BadPdu), Events{});
    EXPECT_EQ(walk(frames::gvrpFrame("0001 01 04 02 000a 04 09 000b 00 00"), DropReason::BadPdu),
              (Events{{10, PduEvent::GvrpJoinIn}}));
    EXPECT_EQ(walk(frames::nativeFrame("00 01 01 0001 000a ff 0000"), DropReason::BadPdu),
              Events{});
}

TEST(Events, ValuesThatAreNoVlanIdArePassedOver) {
    EXPECT_EQ(walk(frames::nativeFrame("00 01 01 0001 0000 24 0002 0fff 2b 0000")),
              (Events{{4095, PduEvent::JoinIn}}));
}

TEST(Events, EveryPrefixOfAFrameEndsWithoutReadingBeyondIt) {
    for (const auto& whole : {frames::ieeeFrame("00 01 02 2004 000a 46 00 0000 0000"),
                              frames::gvrpFrame("0001 01 02 00 04 02 000a 00 00")}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const frames::Bytes cut(whole.begin(),
                                    whole.begin() + static_cast<std::ptrdiff_t>(size));
            Collect sink;
            walkEvents(classifyFrame(cut), sink);
            EXPECT_LE(sink.events.size(), 5U);
        }
    }
}

TEST(Events, TheCapturesOfARealKernelAreReadToTheirEnd) {
    for (const char* name :
         {"gvrp-20-vlans.pcap", "gvrp-leaveall.pcap", "mvrp-20-vlans.pcap", "mvrp-leaveall.pcap"}) {
        std::string error;
        const auto capture = readPcap(std::string(MVRP_TEST_DATA "/captures/") + name, error);
        ASSERT_TRUE(capture) << error;
        std::size_t events = 0;
        for (const auto& record : capture->records) {
            Collect sink;
            EXPECT_EQ(walkEvents(classifyFrame(capture->frame(record)), sink), DropReason::None);
            events += sink.events.size();
        }
        EXPECT_GT(events, capture->records.size() / 2) << name;
    }
}

}  // namespace
}  // namespace platform
