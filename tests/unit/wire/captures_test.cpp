// SPDX-License-Identifier: MIT
//
// Frames of a real kernel: every VLAN and event of the captures has to come out of the adapter.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <set>

#include "platform/wire/adapter.h"
#include "platform/wire/pcap.h"
#include "tests/unit/wire/frame_builder.h"

namespace {

using frames::Bytes;
using frames::Event;
using frames::NativePdu;

constexpr u32 kJoinIn = 1;
constexpr u32 kJoinMt = 3;
constexpr u32 kMt = 4;
constexpr u32 kLeave = 5;

const std::vector<u32> kTwentyVlans = {2,   7,    8,    9,    40,   99,   100,  101,  256,  511,
                                       512, 1000, 1023, 1024, 2047, 2048, 3000, 4000, 4093, 4094};

platform::PcapFrames load(const std::string& name) {
    std::string error;
    auto frames = platform::readPcap(MVRP_TEST_DATA "/captures/" + name, error);
    EXPECT_TRUE(frames.has_value()) << error;
    return frames.value_or(platform::PcapFrames{});
}

/// The native PDUs that frame `number` (from 1, as tools count) of a capture comes to.
std::vector<NativePdu> pdusOf(const platform::PcapFrames& capture, std::size_t number) {
    const platform::FrameView view =
        platform::classifyFrame(capture.frame(capture.records.at(number - 1)));
    EXPECT_EQ(view.kind, platform::FrameKind::IeeeMvrp);
    const auto out = std::make_unique<platform::NativeFrames>();
    platform::ieeeToNative(view, *out);
    EXPECT_EQ(out->reason, platform::DropReason::None);
    std::vector<NativePdu> pdus;
    if (out->leaveAllBytes != 0)
        pdus.push_back(frames::readNative(out->leaveAll.data(), out->leaveAllBytes));
    if (out->vectorBytes != 0)
        pdus.push_back(frames::readNative(out->vectors.data(), out->vectorBytes));
    return pdus;
}

std::vector<Event> eventsOf(const std::vector<u32>& vids, u32 event) {
    std::vector<Event> events;
    events.reserve(vids.size());
    for (const u32 vid : vids)
        events.push_back({vid, event});
    return events;
}

TEST(KernelMvrp, OneVlanIsDeclaredAndWithdrawn) {
    const auto capture = load("mvrp-one-vlan.pcap");
    ASSERT_EQ(capture.records.size(), 7U);
    for (std::size_t number = 1; number <= 6; ++number)
        EXPECT_EQ(pdusOf(capture, number), (std::vector<NativePdu>{{false, {{10, kJoinIn}}}}));
    EXPECT_EQ(pdusOf(capture, 7), (std::vector<NativePdu>{{false, {{10, kLeave}}}}));
}

TEST(KernelMvrp, TwentyVlansAreDeclared) {
    const auto capture = load("mvrp-20-vlans.pcap");
    ASSERT_EQ(capture.records.size(), 18U);
    for (std::size_t number = 1; number <= 6; ++number) {
        EXPECT_EQ(pdusOf(capture, number),
                  (std::vector<NativePdu>{{false, eventsOf(kTwentyVlans, kJoinIn)}}));
    }
}

TEST(KernelMvrp, FiveVlansAreWithdrawnInOneBatch) {
    const auto capture = load("mvrp-20-vlans.pcap");
    EXPECT_EQ(pdusOf(capture, 7),
              (std::vector<NativePdu>{{false, eventsOf({8, 40, 101, 1024, 4094}, kLeave)}}));
}

TEST(KernelMvrp, EveryDeclaredVlanIsWithdrawnInTheEnd) {
    const auto capture = load("mvrp-20-vlans.pcap");
    std::set<u32> declared;
    for (std::size_t number = 1; number <= capture.records.size(); ++number) {
        for (const NativePdu& pdu : pdusOf(capture, number)) {
            for (const Event& event : pdu.events) {
                if (event.event == kLeave) {
                    declared.erase(event.vid);
                } else {
                    EXPECT_EQ(event.event, kJoinIn);
                    declared.insert(event.vid);
                }
            }
        }
    }
    EXPECT_EQ(declared, std::set<u32>{});
}

TEST(KernelMvrp, LeaveAllOfEachShapeComesFirstAndAlone) {
    const auto capture = load("mvrp-leaveall.pcap");
    ASSERT_EQ(capture.records.size(), 22U);
    const NativePdu leaveAll = {true, {}};
    EXPECT_EQ(pdusOf(capture, 3), (std::vector<NativePdu>{leaveAll}));
    EXPECT_EQ(pdusOf(capture, 8), (std::vector<NativePdu>{leaveAll}));
    EXPECT_EQ(pdusOf(capture, 13), (std::vector<NativePdu>{leaveAll, {false, {{10, kJoinMt}}}}));
    EXPECT_EQ(pdusOf(capture, 18),
              (std::vector<NativePdu>{leaveAll, {false, eventsOf({10, 11, 12}, kMt)}}));
}

TEST(KernelMvrp, DeclaresAgainAfterEachLeaveAll) {
    const auto capture = load("mvrp-leaveall.pcap");
    for (const std::size_t number : {4U, 5U, 9U, 10U, 14U, 15U, 19U, 20U}) {
        EXPECT_EQ(pdusOf(capture, number),
                  (std::vector<NativePdu>{{false, eventsOf({10, 11, 12, 13, 40}, kJoinIn)}}));
    }
}

/// {event, VLAN ID} of each attribute; a LeaveAll counts as VLAN 0.
std::vector<Event> gvrpEvents(const platform::PcapFrames& capture, std::size_t number) {
    const platform::FrameView view =
        platform::classifyFrame(capture.frame(capture.records.at(number - 1)));
    EXPECT_EQ(view.kind, platform::FrameKind::Gvrp);
    const auto pdu = view.pdu();
    std::vector<Event> events;
    std::size_t at = 3;
    while (at < pdu.size() && pdu[at] != 0) {
        const bool hasVid = pdu[at] == 4;
        const u32 vid = hasVid ? static_cast<u32>(pdu[at + 2] << 8 | pdu[at + 3]) : 0;
        events.push_back({vid, pdu[at + 1]});
        at += pdu[at];
    }
    EXPECT_EQ(pdu.size(), at + 2) << "the PDU has to end with its two end marks";
    return events;
}

constexpr u32 kGvrpLeaveAll = 0;
constexpr u32 kGvrpJoinIn = 2;
constexpr u32 kGvrpLeaveEmpty = 3;
constexpr u32 kGvrpEmpty = 5;

TEST(KernelGvrp, OneVlanIsDeclaredTwiceAndWithdrawn) {
    const auto capture = load("gvrp-one-vlan.pcap");
    ASSERT_EQ(capture.records.size(), 3U);
    EXPECT_EQ(gvrpEvents(capture, 1), (std::vector<Event>{{10, kGvrpJoinIn}}));
    EXPECT_EQ(gvrpEvents(capture, 2), (std::vector<Event>{{10, kGvrpJoinIn}}));
    EXPECT_EQ(gvrpEvents(capture, 3), (std::vector<Event>{{10, kGvrpLeaveEmpty}}));
}

TEST(KernelGvrp, TwentyVlansAreDeclaredAndFiveWithdrawn) {
    const auto capture = load("gvrp-20-vlans.pcap");
    ASSERT_EQ(capture.records.size(), 12U);
    EXPECT_EQ(gvrpEvents(capture, 1), eventsOf(kTwentyVlans, kGvrpJoinIn));
    std::vector<Event> withdrawn;
    for (const std::size_t number : {3U, 4U}) {
        for (const Event& event : gvrpEvents(capture, number))
            if (event.event == kGvrpLeaveEmpty)
                withdrawn.push_back(event);
    }
    std::ranges::sort(withdrawn, {}, &Event::vid);
    EXPECT_EQ(withdrawn, eventsOf({8, 40, 101, 1024, 4094}, kGvrpLeaveEmpty));
}

TEST(KernelGvrp, PaddingAfterTheLengthIsCut) {
    const auto capture = load("gvrp-leaveall.pcap");
    ASSERT_EQ(capture.records.size(), 13U);
    EXPECT_EQ(gvrpEvents(capture, 1), (std::vector<Event>{{0, kGvrpLeaveAll}}));
    EXPECT_EQ(capture.records[3].length, 60U);
    EXPECT_EQ(gvrpEvents(capture, 4), (std::vector<Event>{{0, kGvrpLeaveAll}}));
    EXPECT_EQ(gvrpEvents(capture, 7), (std::vector<Event>{{11, kGvrpJoinIn}}));
    EXPECT_EQ(gvrpEvents(capture, 8), (std::vector<Event>{{11, kGvrpLeaveEmpty}}));
    EXPECT_EQ(gvrpEvents(capture, 11), (std::vector<Event>{{12, kGvrpEmpty}}));
}

}  // namespace
