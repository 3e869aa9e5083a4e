// SPDX-License-Identifier: MIT
//
// What the status and version scalars write behind their descriptors.
#include <array>
#include <cstring>

#include "daemon/db/port_vlan.h"
#include "daemon/mgmt/config.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

constexpr u32 kUntouched = 0xA5A5A5A5;

class Status : public StartedDaemon {
  protected:
    void enableMvrp() {
        u32 on = MVRP_ON;
        ASSERT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_ENABLE, &on), kStatusOk);
    }

    u32 read(u32 length) {
        buffer_ = {words_.data(), length};
        return mvrpScalarSetApi(0, MVRP_SCALAR_STATUS, &buffer_);
    }

    std::array<u32, 4> words_ = {kUntouched, kUntouched, kUntouched, kUntouched};
    QorBuffer buffer_{};
};

TEST_F(Status, IsIdleWhileNoPairWaits) {
    EXPECT_EQ(read(12), kStatusOk);
    EXPECT_EQ(words_, (std::array<u32, 4>{1, 0, 2, kUntouched}));
    EXPECT_EQ(host_.lockDepth, 0U);
}

TEST_F(Status, TellsThatPairsWait) {
    enableMvrp();
    mvrpPortVlanEntryAdd(3, 10);
    EXPECT_EQ(read(12), kStatusOk);
    EXPECT_EQ(words_, (std::array<u32, 4>{2, 4, 2, kUntouched}));
}

TEST_F(Status, CutsALongerLengthAndWritesItBack) {
    EXPECT_EQ(read(16), kStatusOk);
    EXPECT_EQ(buffer_.length, 12U);
    EXPECT_EQ(words_[3], kUntouched);
}

TEST_F(Status, RefusesAShortDescriptorWithTheLockStillHeld) {
    EXPECT_EQ(read(11), kStatusFailed);
    EXPECT_EQ(words_[0], kUntouched);
    EXPECT_EQ(host_.lockDepth, 1U);
}

TEST_F(Status, RefusesANullPointerWithTheLockStillHeld) {
    QorBuffer none = {nullptr, 12};
    EXPECT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_STATUS, &none), kStatusFailed);
    EXPECT_EQ(host_.lockDepth, 1U);
}

TEST_F(Status, RefusesANullValueBeforeItTakesTheLock) {
    EXPECT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_STATUS, nullptr), u32{MVRP_ERR_ARGUMENT});
    EXPECT_EQ(host_.lockDepth, 0U);
}

TEST_F(Status, VersionTextIsSeventeenBytesWithoutTerminator) {
    std::array<char, 40> text;
    text.fill('#');
    QorBuffer buffer = {text.data(), static_cast<u32>(text.size())};
    EXPECT_EQ(mvrpScalarGetApi(0, MVRP_SCALAR_VERSION, &buffer), kStatusOk);
    EXPECT_EQ(std::memcmp(text.data(), "MVRP_Vl3.10.00.00#", 18), 0);
}

}  // namespace
