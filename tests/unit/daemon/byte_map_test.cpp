// SPDX-License-Identifier: MIT
//
// The form of the byte maps that this machine uses against the plain one, and the maps of whole
// ports against the single step, on random machines.
#include "daemon/base/byte_map.h"
#include "daemon/fsm/machine.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "daemon/fsm/machines.h"

namespace {

/// Bytes whose upper half the look-ups of 16 know end here.
constexpr u32 kOrdinaryBytes = kMvrpHalfEnd << 4U;

class ByteMap : public testing::Test {
  protected:
    /// Lengths around whole blocks and stretches, up to a bitmap's.
    size_t length() { return dice(4) == 0 ? dice(kMvrpBitmapBits + 1) : dice(300); }
    u32 dice(u32 end) { return static_cast<u32>(random_() % end); }

    std::vector<u8> bytes() {
        // Few bytes, bytes that a port can hold, and any.
        const u32 sort = dice(3);
        std::vector<u8> bytes(length());
        for (u8& byte : bytes)
            byte = static_cast<u8>(sort == 0 ? (dice(100) == 0 ? dice(16) : 0)
                                             : dice(sort == 1 ? kOrdinaryBytes : 256));
        return bytes;
    }

    MvrpVlanBitmap bitmap() {
        // Nearly empty, nearly full, and any.
        MvrpVlanBitmap bitmap;
        const u32 sort = dice(3);
        for (u8& byte : bitmap)
            byte = static_cast<u8>(sort == 2 || dice(50) == 0 ? dice(256) : sort == 0 ? 0 : 0xFF);
        return bitmap;
    }

    static constexpr int kRounds = 3000;

  private:
    std::mt19937_64 random_{20240607};
};

constexpr MvrpByteMap kJoin = kMvrpJoinMap<MVRP_EVENT_JOIN, MVRP_PROTOCOL_MVRP>;

TEST_F(ByteMap, AppliesAsThePlainFormDoes) {
    for (int round = 0; round < kRounds; ++round) {
        std::vector<u8> plain = bytes();
        std::vector<u8> fast = plain;
        kMvrpPlainForm.apply(plain, kJoin);
        gMvrpBytes.apply(fast, kJoin);
        ASSERT_EQ(plain, fast);
    }
}

TEST_F(ByteMap, AppliesToChosenBytesAsThePlainFormDoes) {
    for (int round = 0; round < kRounds; ++round) {
        std::vector<u8> plain = bytes();
        std::vector<u8> fast = plain;
        const MvrpVlanBitmap where = bitmap();
        kMvrpPlainForm.applyWhere(plain, where, kJoin);
        gMvrpBytes.applyWhere(fast, where, kJoin);
        ASSERT_EQ(plain, fast);
    }
}

TEST_F(ByteMap, LooksAsThePlainFormDoes) {
    for (int round = 0; round < kRounds; ++round) {
        const std::vector<u8> from = bytes();
        std::vector<u8> plain(from.size() + 1, 0xEE);
        std::vector<u8> fast = plain;
        ASSERT_EQ(kMvrpPlainForm.look(from, kJoin, plain.data()),
                  gMvrpBytes.look(from, kJoin, fast.data()));
        ASSERT_EQ(plain, fast);
    }
}

TEST_F(ByteMap, MarksAsThePlainFormDoes) {
    for (int round = 0; round < kRounds; ++round) {
        const std::vector<u8> from = bytes();
        MvrpVlanBitmap plain = bitmap();
        MvrpVlanBitmap fast = bitmap();
        for (const MvrpByteMarks& marks : {kMvrpActiveMachines, kMvrpExpiringMachines}) {
            kMvrpPlainForm.mark(from, marks, &plain);
            gMvrpBytes.mark(from, marks, &fast);
            ASSERT_EQ(plain, fast);
            ASSERT_EQ(kMvrpPlainForm.has(from, marks), !mvrpBitmapEmpty(plain));
            ASSERT_EQ(gMvrpBytes.has(from, marks), !mvrpBitmapEmpty(plain));
        }
    }
}

TEST_F(ByteMap, FindsOneMarkedByteWhereverItIs) {
    constexpr u8 kLeaving = u8{REG_STATE_LV} << 2U | 2;
    for (const size_t length : {1U, 31U, 127U, 128U, 129U, 4095U}) {
        std::vector<u8> bytes(length, 0x01);
        ASSERT_FALSE(gMvrpBytes.has(bytes, kMvrpExpiringMachines));
        for (size_t at = 0; at < length; ++at) {
            bytes[at] = kLeaving;
            ASSERT_TRUE(gMvrpBytes.has(bytes, kMvrpExpiringMachines)) << at << " of " << length;
            bytes[at] = 0x01;
        }
    }
}

TEST_F(ByteMap, ComparesAsThePlainFormDoes) {
    for (int round = 0; round < kRounds; ++round) {
        std::vector<u8> from(length(), static_cast<u8>(dice(256)));
        ASSERT_EQ(gMvrpBytes.same(from), from.size());
        if (!from.empty() && dice(4) != 0)
            from[dice(static_cast<u32>(from.size()))] ^= static_cast<u8>(1U << dice(8));
        ASSERT_EQ(kMvrpPlainForm.same(from), gMvrpBytes.same(from));
        const u8 mask = static_cast<u8>(dice(256));
        const u8 value = from.empty() ? u8{0} : static_cast<u8>(from.back() & mask);
        ASSERT_EQ(kMvrpPlainForm.all(from, mask, value), gMvrpBytes.all(from, mask, value));
        ASSERT_FALSE(!from.empty() && gMvrpBytes.all(from, 0, 1));
    }
}

TEST_F(ByteMap, FindsOneOtherByteWhereverItIs) {
    for (const size_t length : {1U, 31U, 32U, 33U, 63U, 64U, 65U, 300U}) {
        std::vector<u8> bytes(length, 0x80);
        ASSERT_TRUE(gMvrpBytes.all(bytes, 0xA0, 0x80));
        for (size_t at = 0; at < length; ++at) {
            bytes[at] = 0xA0;
            ASSERT_FALSE(gMvrpBytes.all(bytes, 0xA0, 0x80)) << at << " of " << length;
            ASSERT_EQ(gMvrpBytes.same(bytes), at == 0 ? 1U : at) << at << " of " << length;
            bytes[at] = 0x9F;
            ASSERT_TRUE(gMvrpBytes.all(bytes, 0xA0, 0x80)) << at << " of " << length;
            bytes[at] = 0x80;
        }
    }
}

TEST(BitmapRange, SetsTheBitsOfARangeAndNoOther) {
    for (const u32 first : {0U, 1U, 7U, 8U, 9U, 100U})
        for (const u32 count : {0U, 1U, 2U, 7U, 8U, 9U, 16U, 17U, 300U}) {
            MvrpVlanBitmap bitmap = {};
            mvrpBitSet(bitmap.data(), 50);
            mvrpBitmapAddRange(&bitmap, first, count);
            for (u32 index = 0; index < kMvrpBitmapBits; ++index)
                ASSERT_EQ(mvrpBitTest(bitmap.data(), index) != 0,
                          index == 50 || (index >= first && index < first + count))
                    << index << " of " << count << " from " << first;
        }
}

TEST_F(ByteMap, PacksAsThePlainFormDoes) {
    for (int round = 0; round < kRounds; ++round) {
        std::vector<u8> events(length());
        for (u8& event : events)
            event = static_cast<u8>(dice(6));
        std::vector<u8> plain((events.size() + 2) / 3 + 1, 0xEE);
        std::vector<u8> fast = plain;
        kMvrpPlainForm.pack(events, plain.data());
        gMvrpBytes.pack(events, fast.data());
        ASSERT_EQ(plain, fast);
    }
}

TEST_F(ByteMap, PacksTheFirstEventHighest) {
    const std::vector<u8> events = {1, 2, 3, 4, 5};
    std::vector<u8> packed(2);
    gMvrpBytes.pack(events, packed.data());
    EXPECT_EQ(packed, (std::vector<u8>{36 + 12 + 3, 144 + 30}));
}

TEST(MachineMaps, AreTheSingleStepForEachByte) {
    for (u32 byte = 0; byte < 256; ++byte) {
        const u8 machine = static_cast<u8>(byte);

        u8 joined = machine;
        if (!mvrpVlanActive(joined))
            mvrpFsmInit(&joined, MVRP_MACHINE_DYNAMIC);
        mvrpBitSet(&joined, MVRP_PROPAGATE_BIT);
        mvrpFsmChange(&joined, GVRP_EVENT_JOIN, MVRP_PROTOCOL_GVRP);
        EXPECT_EQ((kMvrpJoinMap<GVRP_EVENT_JOIN, MVRP_PROTOCOL_GVRP>.table[byte]), joined);

        u8 left = machine;
        mvrpBitClear(&left, MVRP_PROPAGATE_BIT);
        mvrpFsmChange(&left, MVRP_EVENT_LEAVE, MVRP_PROTOCOL_MVRP);
        EXPECT_EQ((kMvrpLeaveMap<MVRP_EVENT_LEAVE, MVRP_PROTOCOL_MVRP>.table[byte]), left);

        u8 aged = machine;
        if (mvrpVlanActive(aged))
            mvrpFsmChange(&aged, MVRP_EVENT_R_LA, MVRP_PROTOCOL_MVRP);
        EXPECT_EQ((kMvrpActiveEventMap<MVRP_EVENT_R_LA, MVRP_PROTOCOL_MVRP>.table[byte]), aged);
    }
}

TEST(BitmapWalk, FindsTheNextSetAndTheNextClearBit) {
    std::mt19937_64 random{7};
    for (int round = 0; round < 200; ++round) {
        MvrpVlanBitmap bitmap;
        for (u8& byte : bitmap) {
            u64 bits = random();
            for (int more = 0; more < 2; ++more)
                bits = round % 2 == 0 ? bits & random() : bits | random();
            byte = static_cast<u8>(bits);
        }
        for (const bool set : {true, false}) {
            u32 expected = kMvrpBitmapBits;
            for (u32 index = kMvrpBitmapBits; index-- > 0;) {
                if ((mvrpBitTest(bitmap.data(), index) != 0) == set)
                    expected = index;
                ASSERT_EQ(mvrpBitmapNext(bitmap, index, set), expected) << index;
            }
        }
    }
}

}  // namespace
