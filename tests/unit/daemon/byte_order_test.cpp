// SPDX-License-Identifier: MIT
//
// What scenarios write in a fixed byte order, on machines of both. The bytes are spelled out, so
// that every machine tests the same.
#include "platform/virtual/state/byte_order.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <vector>

#include "daemon/base/bitmap.h"
#include "daemon/events/message.h"
#include "platform/virtual/state/vlan_set.h"

namespace {

using Bytes = std::vector<u8>;

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes zeros(std::size_t count) {
    return Bytes(count, 0);
}

Bytes turned(Bytes messages) {
    scenario::turnRouteMessages(messages);
    return messages;
}

const Bytes kLittleIndex = {3, 0, 0, 1};
const Bytes kBigIndex = {1, 0, 0, 3};

TEST(ByteOrder, FieldsOfAChangedLinkAreTurned) {
    const Bytes little = joined({{0x38, 0, 0, 0, 0x20, 0},
                                 zeros(22),
                                 kLittleIndex,
                                 zeros(4),
                                 {1, 0, 0, 0},
                                 zeros(4),
                                 {10, 0, 0, 0},
                                 {8, 0, 0x40, 0},
                                 {5, 0, 0, 0}});
    const Bytes big = joined({{0, 0, 0, 0x38, 0, 0x20},
                              zeros(22),
                              kBigIndex,
                              zeros(4),
                              {0, 0, 0, 1},
                              zeros(4),
                              {0, 0, 0, 10},
                              {0, 8, 0, 0x40},
                              {0, 0, 0, 5}});
    EXPECT_EQ(turned(little), big);
}

TEST(ByteOrder, AStateIsAByteAndTheNextMessageFollows) {
    const Bytes little = joined({{0x38, 0, 0, 0, 0x20, 0},
                                 zeros(22),
                                 kLittleIndex,
                                 zeros(16),
                                 {5, 0, 0x10, 0},
                                 {1, 0, 0, 0},
                                 {0x20, 0, 0, 0, 0x44, 1},
                                 zeros(22),
                                 kLittleIndex});
    const Bytes big = joined({{0, 0, 0, 0x38, 0, 0x20},
                              zeros(22),
                              kBigIndex,
                              zeros(16),
                              {0, 5, 0, 0x10},
                              {1, 0, 0, 0},
                              {0, 0, 0, 0x20, 1, 0x44},
                              zeros(22),
                              kBigIndex});
    EXPECT_EQ(turned(little), big);
}

TEST(ByteOrder, AFieldThatIsCutStays) {
    const Bytes cut = joined({{0x1E, 0, 0, 0, 0x44, 1}, zeros(22), {3, 0}});
    const Bytes big = joined({{0, 0, 0, 0x1E, 1, 0x44}, zeros(22), {3, 0}});
    EXPECT_EQ(turned(cut), big);
    for (std::size_t size = 0; size < kMvrpRouteHeaderBytes; ++size)
        EXPECT_EQ(turned(Bytes(size, 7)), Bytes(size, 7)) << size;
}

TEST(ByteOrder, AnyBytesAreTurnedWithinTheirBounds) {
    std::mt19937 random(20);
    for (int round = 0; round < 20'000; ++round) {
        Bytes bytes(random() % 120);
        for (u8& byte : bytes)
            byte = static_cast<u8>(random() % 3 == 0 ? random() : random() % 64);
        const std::size_t size = bytes.size();
        scenario::turnRouteMessages(bytes);
        scenario::turnWords(bytes);
        scenario::turnReceiveMatch(bytes);
        ASSERT_EQ(bytes.size(), size);
    }
}

TEST(ByteOrder, WordsAreTurnedAndWhatIsLeftStays) {
    Bytes words = {4, 0, 0, 0, 17, 1, 0, 0, 9};
    scenario::turnWords(words);
    EXPECT_EQ(words, (Bytes{0, 0, 0, 4, 0, 0, 1, 17, 9}));
}

TEST(ByteOrder, AMatchOfAPortHasANumberAsItsValueAndOneOfAnAddressHasNot) {
    Bytes port = joined({{5, 0, 0, 0}, {1, 0, 0, 0}, {2, 28, 0, 0}, {5, 0, 0, 0}, zeros(12)});
    const Bytes portTurned =
        joined({{0, 0, 0, 5}, {0, 0, 0, 1}, {2, 28, 0, 0}, {0, 0, 0, 5}, zeros(12)});
    const Bytes portBefore = port;
    scenario::turnReceiveMatch(port);
    EXPECT_EQ(port, portTurned);
    scenario::turnReceiveMatch(port);
    EXPECT_EQ(port, portBefore);

    Bytes address =
        joined({{5, 0, 0, 0}, {2, 0, 0, 0}, {5, 28, 0, 0}, {1, 0x80, 0xC2, 0, 0, 0x21}, zeros(10)});
    scenario::turnReceiveMatch(address);
    EXPECT_EQ(
        address,
        joined(
            {{0, 0, 0, 5}, {0, 0, 0, 2}, {5, 28, 0, 0}, {1, 0x80, 0xC2, 0, 0, 0x21}, zeros(10)}));
}

TEST(ByteOrder, NumbersOfAScenarioReachTheDaemonInTheMachinesOrder) {
    Bytes words = {0x78, 0x56, 0x34, 0x12};
    scenario::wordsFromLittleEndian(words);
    EXPECT_EQ(mvrpRouteRead<u32>(words, 0), 0x12345678U);
    Bytes messages = joined({{0x20, 0, 0, 0, 0x44, 1}, zeros(22), {0x78, 0x56, 0x34, 0x12}});
    scenario::routeMessagesFromLittleEndian(messages);
    EXPECT_EQ(mvrpRouteRead<u32>(messages, ROUTE_LENGTH), 0x20U);
    EXPECT_EQ(mvrpRouteRead<u16>(messages, ROUTE_TYPE), static_cast<u16>(ROUTE_RESET));
    EXPECT_EQ(mvrpRouteRead<u32>(messages, ROUTE_RESET_INTERFACE), 0x12345678U);
}

// Sets and bitmaps
// ---------------------------------------------------------------------------------------------

TEST(VlanSet, EachVlanIsItsBitOfABitmap) {
    for (u32 vid = 1; vid <= scenario::kVlanSetLast; ++vid) {
        MvrpVlanBitmap bitmap = {};
        mvrpBitSet(bitmap.data(), vid - 1);
        const scenario::VlanSet set = scenario::vlanSetOf(bitmap);
        ASSERT_EQ(set.count(), 1U) << vid;
        ASSERT_TRUE(set.test(vid)) << vid;
        MvrpVlanBitmap stored = {};
        scenario::storeBitmap(set, stored);
        ASSERT_EQ(stored, bitmap) << vid;
    }
}

TEST(VlanSet, ShortBitmapsAndVlan0) {
    const Bytes two = {0x80, 0x01};
    scenario::VlanSet set = scenario::vlanSetOf(two);
    EXPECT_EQ(scenario::formatVlanSet(set), "1,16");
    set.set(0);
    Bytes stored(3, 0xFF);
    scenario::storeBitmap(set, stored);
    EXPECT_EQ(stored, (Bytes{0x80, 0x01, 0}));
    EXPECT_TRUE(scenario::vlanSetOf({}).none());
}

}  // namespace
