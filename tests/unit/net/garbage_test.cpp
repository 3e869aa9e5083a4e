// SPDX-License-Identifier: MIT
//
// Frames of every length and much else: each is delivered or counted, and nothing is read beyond
// it.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

enum class Shape { Random, GroupAddress, NativeHeader, Ethertype, GvrpHeader };

/// A frame of exactly `size` bytes in a buffer of that size, random behind a good beginning.
std::unique_ptr<u8[]> makeFrame(std::size_t size, Shape shape, std::mt19937& random) {
    auto bytes = std::make_unique<u8[]>(size);
    std::generate_n(bytes.get(), size, [&random] { return static_cast<u8>(random() % 7); });
    frames::Bytes begin;
    switch (shape) {
        case Shape::Random:
            break;
        case Shape::GroupAddress:
            begin = frames::kAddresses;
            break;
        case Shape::NativeHeader:
            begin = frames::nativeFrame("00 01 01");
            break;
        case Shape::Ethertype:
            begin = frames::ieeeFrame("00 01 02");
            break;
        case Shape::GvrpHeader:
            begin = frames::gvrpFrame("0001 01");
            break;
    }
    std::copy_n(begin.begin(), std::min(begin.size(), size), bytes.get());
    // The length field of half of the frames says what they hold.
    const bool hasLength = shape == Shape::NativeHeader || shape == Shape::GvrpHeader;
    if (hasLength && size >= 14 && size % 2 == 0) {
        bytes[12] = static_cast<u8>((size - 14) >> 8);
        bytes[13] = static_cast<u8>((size - 14) & 0xFF);
    }
    return bytes;
}

class Garbage : public ::testing::TestWithParam<Shape> {};

TEST_P(Garbage, OfEveryLengthIsDeliveredOrCounted) {
    NetNode node;
    node.enable(3);
    node.enable(3, kProtocolGvrp);
    std::mt19937 random(42);
    constexpr std::size_t kLongest = 3840;
    for (std::size_t size = 0; size <= kLongest; ++size) {
        const auto frame = makeFrame(size, GetParam(), random);
        node.net.frameArrived(3, {frame.get(), size}, false);
        while (!node.receive(node.mvrp, false).frame.empty()) {
        }
        while (!node.receive(node.gvrp, false).frame.empty()) {
        }
    }
    const PortCountersRecord counters = node.net.counters(3);
    // A standard frame of which a part could be read counts as both.
    EXPECT_GE(counters.framesIn + counters.droppedMalformed + counters.ignored, kLongest + 1);
    EXPECT_EQ(counters.droppedOverflow, 0U);
    EXPECT_EQ(counters.droppedDisabled, 0U);
    EXPECT_GE(counters.droppedMalformed, 14U);
    node.net.frameArrived(3, frames::nativeFrame("00 01 01 0001 000a 24 0000"), false);
    EXPECT_EQ(node.receive(node.mvrp, false).frame,
              frames::nativeFrame("00 01 01 0001 000a 24 0000"));
}

TEST_P(Garbage, OfEveryLengthIsForwardedOrIgnoredByASwitchThatTakesNoPart) {
    NetNode node;
    std::mt19937 random(43);
    for (std::size_t size = 0; size <= 3840; ++size) {
        const auto frame = makeFrame(size, GetParam(), random);
        node.net.frameArrived(3, {frame.get(), size}, false);
    }
    const PortCountersRecord counters = node.net.counters(3);
    EXPECT_EQ(counters.forwarded + counters.ignored, 3841U);
}

INSTANTIATE_TEST_SUITE_P(Shapes, Garbage,
                         ::testing::Values(Shape::Random, Shape::GroupAddress, Shape::NativeHeader,
                                           Shape::Ethertype, Shape::GvrpHeader));

}  // namespace
}  // namespace platform::testing
