// SPDX-License-Identifier: MIT
#include "platform/wire/adapter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "tests/unit/wire/frame_builder.h"

namespace {

using namespace frames;
using platform::DropReason;
using platform::NativeFrames;

class IeeeToNative : public testing::Test {
  protected:
    void convert(const Bytes& frame) {
        const platform::FrameView view = platform::classifyFrame(frame);
        ASSERT_EQ(view.kind, platform::FrameKind::IeeeMvrp);
        platform::ieeeToNative(view, *out_);
    }
    Bytes leaveAll() const {
        return {out_->leaveAll.data(), out_->leaveAll.data() + out_->leaveAllBytes};
    }
    Bytes vectors() const {
        return {out_->vectors.data(), out_->vectors.data() + out_->vectorBytes};
    }
    DropReason reason() const { return out_->reason; }

  private:
    std::unique_ptr<NativeFrames> out_ = std::make_unique<NativeFrames>();
};

TEST_F(IeeeToNative, OneVectorBecomesOnePdu) {
    convert(ieeeFrame("00 01 02 0001 000a 24 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
    EXPECT_EQ(leaveAll(), Bytes{});
    EXPECT_EQ(reason(), DropReason::None);
}

TEST_F(IeeeToNative, PaddingIsNotPartOfThePdu) {
    convert(padded(ieeeFrame("00 01 02 0001 000a 24 0000 0000")));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
}

TEST_F(IeeeToNative, MissingEndMarksAreTolerated) {
    convert(ieeeFrame("00 01 02 0001 000a 24"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
    EXPECT_EQ(reason(), DropReason::None);
}

TEST_F(IeeeToNative, LeaveAllGoesAheadAsAPduOfItsOwn) {
    convert(ieeeFrame("00 01 02 2001 000a 6c 0000 0000"));
    EXPECT_EQ(leaveAll(), nativeFrame("00 01 01 2000 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 6c 0000"));
}

TEST_F(IeeeToNative, LeaveAllInALaterVectorGoesAheadOfAll) {
    convert(ieeeFrame("00 01 02 0001 000a 24 2001 0014 24 0000 0000"));
    EXPECT_EQ(leaveAll(), nativeFrame("00 01 01 2000 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0001 0014 24 0000"));
}

TEST_F(IeeeToNative, LeaveAllWithoutValuesComesAlone) {
    convert(ieeeFrame("00 01 02 2000 0000 0000 0000"));
    EXPECT_EQ(leaveAll(), nativeFrame("00 01 01 2000 0000 0000"));
    EXPECT_EQ(vectors(), Bytes{});
    EXPECT_EQ(reason(), DropReason::None);
}

TEST_F(IeeeToNative, LeaveAllWithoutValuesDoesNotEndTheMessage) {
    convert(ieeeFrame("00 01 02 2000 0001 0001 000a 24 0000 0000"));
    EXPECT_EQ(leaveAll(), nativeFrame("00 01 01 2000 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
}

TEST_F(IeeeToNative, SeveralMessagesBecomeOnePdu) {
    convert(ieeeFrame("00 01 02 0001 000a 24 0000 01 02 0002 0014 2a 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0002 0014 2a 0000"));
}

TEST_F(IeeeToNative, MessagesOfUnknownTypesAreSkipped) {
    convert(ieeeFrame("00 02 06 0002 0180c2000001 2a 0000 01 02 0001 000a 24 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
    EXPECT_EQ(reason(), DropReason::None);
}

TEST_F(IeeeToNative, LeaveAllOfAnUnknownTypeIsNotOurs) {
    convert(ieeeFrame("00 02 02 2001 000a 24 0000 0000"));
    EXPECT_EQ(leaveAll(), Bytes{});
    EXPECT_EQ(reason(), DropReason::NoVector);
}

TEST_F(IeeeToNative, LaterProtocolVersionsAreRead) {
    convert(ieeeFrame("01 01 02 0001 000a 24 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
}

TEST_F(IeeeToNative, FirstValuesThatAreNoVlanAreSkipped) {
    convert(ieeeFrame("00 01 02 0001 0000 24 0001 1000 24 0001 000a 24 0000 0000"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
}

TEST_F(IeeeToNative, WhatStandsBeforeATruncatedVectorIsKept) {
    convert(ieeeFrame("00 01 02 0001 000a 24 0009 0014 24 24"));
    EXPECT_EQ(vectors(), nativeFrame("00 01 01 0001 000a 24 0000"));
    EXPECT_EQ(reason(), DropReason::BadPdu);
}

TEST_F(IeeeToNative, AttributeLengthOtherThanTwoIsMalformed) {
    convert(ieeeFrame("00 01 01 0001 000a 24 0000 0000"));
    EXPECT_EQ(vectors(), Bytes{});
    EXPECT_EQ(reason(), DropReason::BadPdu);
}

TEST_F(IeeeToNative, PduWithoutVectorsSaysNothing) {
    convert(ieeeFrame("00 01 02 0000 0000"));
    EXPECT_EQ(vectors(), Bytes{});
    EXPECT_EQ(leaveAll(), Bytes{});
    EXPECT_EQ(reason(), DropReason::NoVector);
}

TEST_F(IeeeToNative, LongestFrameGrowsToTheLongestThatTheDaemonReads) {
    // Vectors of three values, without end marks, up to the last byte.
    Bytes frame = ieeeFrame("00 01 02");
    while (frame.size() + 10 <= platform::kLongestFrame)
        frame = frame + hex("0003 000a 2b");
    const std::size_t events = platform::kLongestFrame - frame.size() - 4;
    frame = frame + Bytes{0, static_cast<u8>(events * 3), 0, 9};
    frame.resize(platform::kLongestFrame, 0x2B);
    convert(frame);
    EXPECT_EQ(reason(), DropReason::None);
    EXPECT_EQ(vectors().size(), platform::kLongestNativeFrame);
}

Bytes toIeee(const Bytes& native) {
    Bytes out(native.size(), 0xEE);
    out.resize(platform::nativeToIeee(native, out));
    return out;
}

TEST(NativeToIeee, PduGetsTwoEndMarksAndAttributeLengthTwo) {
    EXPECT_EQ(toIeee(nativeFrame("00 01 01 0001 000a 24 0003 0014 2b 0000")),
              ieeeFrame("00 01 02 0001 000a 24 0003 0014 2b 0000 0000"));
}

TEST(NativeToIeee, LeaveAllKeepsItsValues) {
    EXPECT_EQ(toIeee(nativeFrame("00 01 01 2003 000a 2b 0000")),
              ieeeFrame("00 01 02 2003 000a 2b 0000 0000"));
}

TEST(NativeToIeee, PduWithoutVectorsHasNoStandardForm) {
    EXPECT_EQ(toIeee(nativeFrame("00 01 01 0000")), Bytes{});
}

TEST(NativeToIeee, OtherFramesHaveNoStandardForm) {
    EXPECT_EQ(toIeee(gvrpFrame("0001 01 04 02 000a 00 00")), Bytes{});
    EXPECT_EQ(toIeee(nativeFrame("00 01 02 0001 000a 24 0000")), Bytes{});
    EXPECT_EQ(toIeee(nativeFrame("00 02 01 0001 000a 24 0000")), Bytes{});
}

TEST(NativeToIeee, PaddedFramesLoseTheirPadding) {
    EXPECT_EQ(toIeee(padded(nativeFrame("00 01 01 0001 000a 24 0000"))),
              ieeeFrame("00 01 02 0001 000a 24 0000 0000"));
}

/// A PDU of random vectors in our form.
Bytes randomVectors(std::mt19937& random) {
    Bytes body;
    const auto vectors = 1 + random() % 20;
    for (std::size_t v = 0; v < vectors; ++v) {
        const auto count = 1 + random() % 90;
        const auto first = 1 + random() % 4094;
        body = body + Bytes{static_cast<u8>(count >> 8), static_cast<u8>(count),
                            static_cast<u8>(first >> 8), static_cast<u8>(first)};
        for (std::size_t i = 0; i < (count + 2) / 3; ++i)
            body.push_back(static_cast<u8>(random() % 216));
    }
    return body;
}

TEST_F(IeeeToNative, RoundTripKeepsEveryVector) {
    std::mt19937 random(7);
    for (int round = 0; round < 500; ++round) {
        const Bytes body = hex("00 01 01") + randomVectors(random) + hex("0000");
        const Bytes native = llcFrame(hex("aaaa03 000000 88f5") + body);
        const Bytes ieee = toIeee(native);
        ASSERT_EQ(ieee.size(), native.size() - 6);
        convert(ieee);
        ASSERT_EQ(vectors(), native);
        ASSERT_EQ(reason(), DropReason::None);
    }
}

// Exact-size heap buffers: a read beyond the frame is found by the address sanitizer.
TEST_F(IeeeToNative, NeverReadsBeyondRandomBytes) {
    std::mt19937 random(99);
    for (int round = 0; round < 20000; ++round) {
        const std::size_t size = 15 + random() % 120;
        const auto bytes = std::make_unique<u8[]>(size);
        // Small bytes make vectors and messages that nest deeply before they break.
        std::generate_n(bytes.get(), size, [&] { return static_cast<u8>(random() % 4); });
        std::ranges::copy(platform::kMvrpGroupAddress, bytes.get());
        bytes[12] = 0x88;
        bytes[13] = 0xF5;
        const platform::FrameView view = platform::classifyFrame({bytes.get(), size});
        NativeFrames out;
        platform::ieeeToNative(view, out);
        ASSERT_LE(out.vectorBytes, size + 10);
        const bool nothing = out.leaveAllBytes == 0 && out.vectorBytes == 0;
        ASSERT_TRUE(!nothing || out.reason != DropReason::None);
    }
}

TEST(NativeToIeee, NeverReadsBeyondRandomBytes) {
    std::mt19937 random(5);
    for (int round = 0; round < 20000; ++round) {
        Bytes pdu = hex("00 01 01");
        const std::size_t size = random() % 100;
        for (std::size_t i = 0; i < size; ++i)
            pdu.push_back(static_cast<u8>(random() % 5));
        const Bytes frame = llcFrame(hex("aaaa03 000000 88f5") + pdu);
        ASSERT_LE(toIeee(frame).size(), frame.size());
    }
}

}  // namespace
