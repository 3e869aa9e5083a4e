// SPDX-License-Identifier: MIT
#include "platform/wire/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "tests/unit/wire/frame_builder.h"

namespace {

using namespace frames;
using platform::classifyFrame;
using platform::DropReason;
using platform::FrameKind;
using platform::FrameView;

TEST(ClassifyFrame, NativeMvrpIsCutToItsLength) {
    const Bytes frame = padded(nativeFrame("00 01 01 0001 000a 24 0000"));
    const FrameView view = classifyFrame(frame);
    EXPECT_EQ(view.kind, FrameKind::NativeMvrp);
    EXPECT_EQ(view.pduOffset, 22);
    EXPECT_TRUE(std::ranges::equal(view.pdu(), hex("00 01 01 0001 000a 24 0000")));
}

TEST(ClassifyFrame, GvrpIsCutToItsLength) {
    const Bytes frame = padded(gvrpFrame("0001 01 04 02 000a 00 00"));
    const FrameView view = classifyFrame(frame);
    EXPECT_EQ(view.kind, FrameKind::Gvrp);
    EXPECT_EQ(view.pduOffset, 17);
    EXPECT_TRUE(std::ranges::equal(view.pdu(), hex("0001 01 04 02 000a 00 00")));
}

TEST(ClassifyFrame, EthertypeIsTheStandardForm) {
    const FrameView view = classifyFrame(ieeeFrame("00 01 02 0001 000a 24 0000 0000"));
    EXPECT_EQ(view.kind, FrameKind::IeeeMvrp);
    EXPECT_EQ(view.pduOffset, 14);
}

TEST(ClassifyFrame, ReadsBothAddresses) {
    const Bytes frame = nativeFrame("00 01 01 0000");
    const FrameView view = classifyFrame(frame);
    EXPECT_EQ(view.destination(), platform::kMvrpGroupAddress);
    EXPECT_EQ(view.source(), (platform::MacAddress{2, 0, 0, 0, 1, 2}));
}

TEST(ClassifyFrame, LengthsBeyond1500ButBelowTheEthertypesAreLengths) {
    Bytes pdu = hex("00 01 01");
    pdu.resize(0x05FF - 8, 0x11);
    const FrameView view = classifyFrame(llcFrame(hex("aaaa03 000000 88f5") + pdu));
    EXPECT_EQ(view.kind, FrameKind::NativeMvrp);
}

struct Dropped {
    const char* name;
    Bytes frame;
    DropReason reason;
};

class ClassifyDropped : public testing::TestWithParam<Dropped> {};

TEST_P(ClassifyDropped, SaysWhy) {
    const FrameView view = classifyFrame(GetParam().frame);
    EXPECT_EQ(view.kind, FrameKind::None);
    EXPECT_EQ(view.reason, GetParam().reason);
    EXPECT_NE(platform::dropReasonText(view.reason), "none");
}

Bytes longFrame(std::size_t size) {
    Bytes frame = ieeeFrame("00 01 02");
    frame.resize(size, 0);
    return frame;
}

INSTANTIATE_TEST_SUITE_P(
    All, ClassifyDropped,
    testing::Values(
        Dropped{"Empty", {}, DropReason::TooShort},
        Dropped{"Header", hex("0180c2000021 020000000102 88"), DropReason::TooShort},
        Dropped{"OtherGroup", hex("0180c2000020 020000000102 88f5 00 01 02"),
                DropReason::OtherGroup},
        Dropped{"TooLong", longFrame(platform::kLongestFrame + 1), DropReason::TooLong},
        Dropped{"CustomerTag", kAddresses + hex("8100 000a 88f5 00 01 02"), DropReason::Tagged},
        Dropped{"ServiceTag", kAddresses + hex("88a8 000a 88f5 00 01 02"), DropReason::Tagged},
        Dropped{"OtherEthertype", kAddresses + hex("0800 4500"), DropReason::OtherType},
        Dropped{"OtherLlc", llcFrame(hex("e0e003 0000")), DropReason::OtherType},
        Dropped{"OtherOrganisation", llcFrame(hex("aaaa03 00000c 88f5 00 01 01 0000")),
                DropReason::OtherType},
        Dropped{"OtherSnapProtocol", llcFrame(hex("aaaa03 000000 0800 00 01 01 0000")),
                DropReason::OtherType},
        Dropped{"LengthBeyondTheFrame", kAddresses + hex("000a aaaa03 000000 88f5"),
                DropReason::BadLength},
        Dropped{"NoPdu", llcFrame(hex("aaaa03 000000 88f5")), DropReason::BadLength},
        Dropped{"NoGvrpPdu", llcFrame(hex("424203")), DropReason::BadLength},
        Dropped{"LengthZero", padded(kAddresses + hex("0000")), DropReason::BadLength},
        Dropped{"EthertypeAlone", kAddresses + hex("88f5"), DropReason::BadPdu}),
    [](const auto& test) { return std::string(test.param.name); });

// Exact-size heap buffers: a read beyond the frame is found by the address sanitizer.
TEST(ClassifyFrame, NeverReadsBeyondAnyLengthOfGarbage) {
    std::mt19937 random(20250301);
    for (std::size_t size = 0; size <= 3840; ++size) {
        const auto bytes = std::make_unique<u8[]>(size);
        std::generate_n(bytes.get(), size, [&] { return static_cast<u8>(random()); });
        // Half of them get far enough to be classified.
        if (size >= 14 && size % 2 == 0) {
            std::ranges::copy(platform::kMvrpGroupAddress, bytes.get());
            bytes[12] = size % 4 == 0 ? 0x88 : static_cast<u8>(random() % 6);
            bytes[13] = size % 4 == 0 ? 0xF5 : bytes[13];
        }
        const FrameView view = classifyFrame({bytes.get(), size});
        EXPECT_EQ(view.kind == FrameKind::None, view.reason != DropReason::None);
        EXPECT_LE(view.frame.size(), size);
    }
}

}  // namespace
