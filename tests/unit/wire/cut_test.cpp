// SPDX-License-Identifier: MIT
#include "platform/wire/cut.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <random>
#include <utility>

#include "platform/wire/events.h"
#include "tests/unit/wire/frame_builder.h"

namespace {

using namespace frames;
using platform::FrameCutter;
using platform::PduEvent;

/// All parts of at most so many bytes; what does not fit stays away.
std::vector<Bytes> cut(const Bytes& frame, std::size_t mostBytes) {
    std::vector<Bytes> parts;
    FrameCutter cutter(frame);
    Bytes out(frame.size());
    while (const std::size_t bytes = cutter.next(mostBytes, out)) {
        EXPECT_LE(bytes, mostBytes);
        parts.emplace_back(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(bytes));
    }
    return parts;
}

class Heard final : public platform::EventSink {
  public:
    void onEvent(u32 vid, PduEvent event) override { events.emplace_back(vid, event); }
    std::vector<std::pair<u32, PduEvent>> events;
};

std::vector<std::pair<u32, PduEvent>> heard(const std::vector<Bytes>& all) {
    Heard sink;
    for (const Bytes& frame : all)
        EXPECT_EQ(platform::walkEvents(platform::classifyFrame(frame), sink),
                  platform::DropReason::None);
    return sink.events;
}

TEST(Cut, AVectorIsCutBetweenBytesOfEvents) {
    const Bytes frame = ieeeFrame("00 01 02 0008 000a 24 25 26 0000 0000");
    // 14 of header, 3 ahead of the vectors, 4 of a vector, 4 of end marks: one byte of events.
    EXPECT_EQ(cut(frame, 26), (std::vector<Bytes>{ieeeFrame("00 01 02 0003 000a 24 0000 0000"),
                                                  ieeeFrame("00 01 02 0003 000d 25 0000 0000"),
                                                  ieeeFrame("00 01 02 0002 0010 26 0000 0000")}));
}

TEST(Cut, VectorsThatFitStayWhole) {
    const Bytes frame = ieeeFrame("00 01 02 0003 000a 24 0001 0064 24 0000 0000");
    EXPECT_EQ(cut(frame, 31), std::vector<Bytes>{frame});
    EXPECT_EQ(cut(frame, 30), (std::vector<Bytes>{ieeeFrame("00 01 02 0003 000a 24 0000 0000"),
                                                  ieeeFrame("00 01 02 0001 0064 24 0000 0000")}));
}

TEST(Cut, NativePartsHaveTheirOwnLength) {
    EXPECT_EQ(cut(nativeFrame("00 01 01 0006 000a 24 25 0000"), 32),
              (std::vector<Bytes>{nativeFrame("00 01 01 0003 000a 24 0000"),
                                  nativeFrame("00 01 01 0003 000d 25 0000")}));
}

TEST(Cut, ALeaveAllStaysWithTheFirstPartOfItsVector) {
    EXPECT_EQ(cut(ieeeFrame("00 01 02 2006 000a 24 25 0000 0000"), 26),
              (std::vector<Bytes>{ieeeFrame("00 01 02 2003 000a 24 0000 0000"),
                                  ieeeFrame("00 01 02 0003 000d 25 0000 0000")}));
}

TEST(Cut, OfANativeLeaveAllNothingFollows) {
    EXPECT_EQ(cut(nativeFrame("00 01 01 2006 000a 24 25 0000"), 32),
              std::vector<Bytes>{nativeFrame("00 01 01 2003 000a 24 0000")});
}

TEST(Cut, ALeaveAllWithoutValuesIsOnePart) {
    const Bytes frame = nativeFrame("00 01 01 2000 0000 0000");
    EXPECT_EQ(cut(frame, frame.size()), std::vector<Bytes>{frame});
}

TEST(Cut, GvrpIsCutBetweenAttributes) {
    EXPECT_EQ(cut(gvrpFrame("0001 01 0200 0402000a 0402000b 00 00"), 28),
              (std::vector<Bytes>{gvrpFrame("0001 01 0200 0402000a 00 00"),
                                  gvrpFrame("0001 01 0402000b 00 00")}));
}

TEST(Cut, WhereNotOneValueFitsNothingIsWritten) {
    const Bytes frame = ieeeFrame("00 01 02 0003 000a 24 0000 0000");
    FrameCutter cutter(frame);
    Bytes out(64);
    EXPECT_EQ(cutter.next(25, out), 0U);
    EXPECT_EQ(cutter.next(0, out), 0U);
    EXPECT_FALSE(cutter.done());
}

TEST(Cut, WhatIsNoFrameOfTheDaemonHasNoParts) {
    for (const Bytes& frame : {Bytes{}, hex("00"), ieeeFrame(""), nativeFrame("00 01 01 0000"),
                               ieeeFrame("00 01 02 0009 000a 24")})
        EXPECT_TRUE(cut(frame, 1000).empty());
}

TEST(Cut, EveryEventIsInOnePartInOrder) {
    std::mt19937 engine(1);
    const auto random = [&engine] { return static_cast<u32>(engine()); };
    for (int round = 0; round < 300; ++round) {
        std::string pdu = "00 01 02 ";
        const auto put = [&pdu](u32 value, int digits) {
            std::array<char, 9> text{};
            std::snprintf(text.data(), text.size(), "%0*x", digits, value);
            pdu += text.data();
        };
        for (u32 vid = 1; vid < 3000; vid += 300) {
            const u32 count = 1 + random() % 290;
            put(count, 4);
            put(vid, 4);
            for (u32 i = 0; i < (count + 2) / 3; ++i)
                put(random() % 216, 2);
        }
        const Bytes frame = ieeeFrame(pdu + "0000 0000");
        EXPECT_EQ(heard(cut(frame, 26 + random() % 1500)), heard({frame}));
    }
}

}  // namespace
