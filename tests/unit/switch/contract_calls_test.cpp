// SPDX-License-Identifier: MIT
//
// Arguments of the contract's calls that no driver gets to see.
#include <gtest/gtest.h>

#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

class ContractCalls : public ::testing::Test {
  protected:
    void SetUp() override { installSwitchDriver(&harness_.driver()); }
    void TearDown() override { installSwitchDriver(nullptr); }
    SoftHarness harness_;
};

TEST_F(ContractCalls, NullPointersFail) {
    EXPECT_NE(qorIfGetApi(3, 19, nullptr), kStatusOk);
    EXPECT_NE(qorIfSetApi(3, 56, nullptr), kStatusOk);
    EXPECT_NE(qorIfSyncApi(3, 192, nullptr), kStatusOk);
    EXPECT_NE(qorIfUnit2Name(3, nullptr, 10), kStatusOk);
    EXPECT_NE(qorIndexTrans(3, 5, nullptr), kStatusOk);
    EXPECT_NE(qorVlanGetApi(1, 3501, nullptr), kStatusOk);
    EXPECT_NE(qorVlanScalarSyncApi(0, 20, nullptr), kStatusOk);
    QorBuffer nothing = {nullptr, kVlanBitmapBytes};
    EXPECT_NE(qorIfGetApi(3, 196, &nothing), kStatusOk);
    EXPECT_NE(qorIfSyncApi(3, 192, &nothing), kStatusOk);
    EXPECT_NE(qorVlanScalarSyncApi(0, 20, &nothing), kStatusOk);
}

TEST_F(ContractCalls, UnknownAttributesFail) {
    u32 value = 7;
    QorBuffer buffer = {&value, sizeof value};
    for (const u32 attribute : {0U, 1U, 157U, 9999U}) {
        EXPECT_NE(qorIfGetApi(3, attribute, &value), kStatusOk);
        EXPECT_NE(qorIfSetApi(3, attribute, &value), kStatusOk);
        EXPECT_NE(qorIfSyncApi(3, attribute, &buffer), kStatusOk);
        EXPECT_NE(qorVlanGetApi(1, attribute, &value), kStatusOk);
        EXPECT_NE(qorVlanScalarSyncApi(0, attribute, &buffer), kStatusOk);
    }
    EXPECT_EQ(value, 7U);
}

TEST_F(ContractCalls, BufferTooSmallForTheAnswerFailsUntouched) {
    std::array<u8, 511> bytes{};
    QorBuffer buffer = {bytes.data(), 511};
    EXPECT_NE(qorIfGetApi(3, 196, &buffer), kStatusOk);
    EXPECT_EQ(bytes, (std::array<u8, 511>{}));
    buffer.length = 5;
    EXPECT_NE(qorIfGetApi(3, 33, &buffer), kStatusOk);
    EXPECT_EQ(bytes[0], 0);
}

TEST_F(ContractCalls, ShortBitmapNamesNothingBeyondItsEnd) {
    u8 byte = 0x40;  // VLAN 2
    QorBuffer buffer = {&byte, 1};
    ASSERT_EQ(qorVlanScalarSyncApi(0, 20, &buffer), kStatusOk);
    EXPECT_EQ(typeOf(2), 6U);
    buffer = {nullptr, 0};
    EXPECT_EQ(qorVlanScalarSyncApi(0, 20, &buffer), kStatusOk);
}

TEST_F(ContractCalls, BitCountBoundsTheBitmap) {
    VlanBitmap vlans = vlanSet({2, 8, 9, 10});
    QorBuffer buffer = {vlans.data(), kVlanBitmapBytes};
    ASSERT_EQ(qorVlanScalarSyncApi(0, 20, &buffer), kStatusOk);
    ASSERT_EQ(qorIfSyncApi(3, 192, &buffer, 9), kStatusOk);
    EXPECT_EQ(dynamicOf(3), vlanSet({2, 8, 9}));
    ASSERT_EQ(qorIfSyncApi(3, 192, &buffer), kStatusOk);
    EXPECT_EQ(dynamicOf(3), vlanSet({2, 8, 9, 10}));
}

TEST(ContractCallsWithoutDriver, AllFail) {
    u32 value = 0;
    QorBuffer buffer = {&value, sizeof value};
    EXPECT_NE(qorIfGetApi(3, 19, &value), kStatusOk);
    EXPECT_NE(qorIfSetApi(3, 56, &value), kStatusOk);
    EXPECT_NE(qorIfSyncApi(3, 192, &buffer), kStatusOk);
    EXPECT_NE(qorVlanGetApi(1, 3501, &value), kStatusOk);
    EXPECT_NE(qorVlanScalarSyncApi(0, 20, &buffer), kStatusOk);
    EXPECT_NE(qorIndexTrans(3, 5, &value), kStatusOk);
    char name[8];
    EXPECT_NE(qorIfUnit2Name(3, name, sizeof name), kStatusOk);
}

}  // namespace
}  // namespace platform::testing
