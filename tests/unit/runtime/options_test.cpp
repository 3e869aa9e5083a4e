// SPDX-License-Identifier: MIT
//
// What the host answers from its record: options, the hardware layer, paths, pools.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "platform/contract/qor_hwil.h"
#include "platform/contract/sil.h"
#include "platform/runtime/files/paths.h"
#include "platform/runtime/process_runtime.h"

namespace platform {
namespace {

class Options : public testing::Test {
  protected:
    ~Options() override { processRuntime().options.clear(); }

    s32 read(const char* key, u32 size) {
        return silOptRead(0, key, 0, 0, 1, buffer_.data(), size);
    }

    std::array<char, 32> buffer_{"untouched"};
};

TEST_F(Options, APresentOptionIsReadAsText) {
    processRuntime().options["mvrp.maxifnum"] = "12";
    EXPECT_GT(read("mvrp.maxifnum", 31), 0);
    EXPECT_STREQ(buffer_.data(), "12");
}

TEST_F(Options, AnAbsentOptionLeavesTheBufferAlone) {
    EXPECT_EQ(read("mvrp.enable", 31), 0);
    EXPECT_STREQ(buffer_.data(), "untouched");
}

TEST_F(Options, ALongTextIsCutAndTerminated) {
    processRuntime().options["long"] = std::string(100, 'x');
    EXPECT_GT(read("long", 5), 0);
    EXPECT_STREQ(buffer_.data(), "xxxx");
    EXPECT_STREQ(buffer_.data() + 5, "ched");
    EXPECT_EQ(read("long", 0), 0);
}

TEST(Hwil, TheAnnouncedProtocolIsKept) {
    u32 protocol = 32;
    EXPECT_EQ(qorHwilScalarSet(0, kHwilScalarProtocol, &protocol, 0), 0U);
    EXPECT_EQ(processRuntime().announcedProtocol, 32U);
    EXPECT_NE(qorHwilScalarSet(0, kHwilScalarProtocol, nullptr, 0), 0U);
    EXPECT_NE(qorHwilScalarSet(0, 1, &protocol, 0), 0U);
}

TEST(Hwil, AHostWithoutAStandbySaysSo) {
    EXPECT_NE(qorHwilScalarGet(0, kHwilScalarStandby, nullptr), 0U);
    processRuntime().standbyState = [] { return 0U; };
    EXPECT_EQ(qorHwilScalarGet(0, kHwilScalarStandby, nullptr), 0U);
    EXPECT_NE(qorHwilScalarGet(0, 1, nullptr), 0U);
    processRuntime().standbyState = nullptr;
}

TEST(Hwil, ACommandSucceedsWithNobodyToCarryItToAndElseWithTheCarriersStatus) {
    u32 value = 1;
    QorCommandControl control{};
    EXPECT_EQ(qorHwilCmdSyncApi(3, 0xFC001, &value, &control), 0U);
    processRuntime().commandSync = [](u32 unit, u32 command, void*, void*) {
        return unit == 3 && command == 0xFC001 ? 77U : 0U;
    };
    EXPECT_EQ(qorHwilCmdSyncApi(3, 0xFC001, &value, &control), 77U);
    processRuntime().commandSync = nullptr;
}

TEST(Hwil, AHostHasNoSlots) {
    u32 out = 5;
    EXPECT_NE(qorHwilSlotGet(&out, 0x1F4002B, 0, 1), 0U);
    EXPECT_EQ(out, 5U);
}

TEST(Paths, TheRuntimeDirectoryTakesThePlaceOfTmp) {
    unsetenv(kRuntimeDirVariable);
    EXPECT_EQ(runtimePath("/tmp/mvrpcmd.socket"), "/tmp/mvrpcmd.socket");
    setenv(kRuntimeDirVariable, "/run/mvrp", 1);
    EXPECT_EQ(runtimePath("/tmp/mvrpcmd.socket"), "/run/mvrp/mvrpcmd.socket");
    EXPECT_EQ(runtimePath("/srv/own.socket"), "/srv/own.socket");
    setenv(kRuntimeDirVariable, "", 1);
    EXPECT_EQ(runtimePath("/tmp/mvrpcmd.socket"), "/tmp/mvrpcmd.socket");
    unsetenv(kRuntimeDirVariable);
}

TEST(Pools, APoolIsCreatedUsedAndDestroyedThroughTheContract) {
    SilMemPool pool{};
    ASSERT_EQ(silMemPoolInit(&pool, "test", 1, 24, 0), 0U);
    void* item = silMemPoolAlloc(&pool, 0);
    EXPECT_NE(item, nullptr);
    EXPECT_EQ(silMemPoolAlloc(&pool, 0), nullptr);
    silMemPoolFree(&pool, item);
    EXPECT_EQ(silMemPoolDestroy(&pool), 0U);
    EXPECT_NE(silMemPoolDestroy(&pool), 0U);
    EXPECT_NE(silMemPoolInit(&pool, "huge", UINT32_MAX, 0xFFFFFFF0U, 0), 0U);
}

}  // namespace
}  // namespace platform
