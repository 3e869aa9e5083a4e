// SPDX-License-Identifier: MIT
//
// The debug shell over functions of the test's own.
#include "platform/runtime/tasks/shell.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <thread>

#include "platform/contract/process.h"
#include "platform/contract/sil.h"
#include "platform/runtime/process_runtime.h"

namespace {

u32 gSem = 0;

u32 printParameters(u32 p1, u32 p2, u32 p3) {
    std::printf("got %u %u %u\n\r", p1, p2, p3);
    return p1 + p2 + p3;
}

/// What another thread gets of the daemon's lock while the function runs.
u32 lockStatus(u32, u32, u32) {
    u32 status = 0;
    std::thread([&status] { status = silTakeSem(gSem, 0); }).join();
    return status;
}

constexpr std::array<ShellFunc, 4> kFunctions = {{
    {"printParameters", 3, printParameters},
    {"lockStatus", 0, lockStatus},
    {"mvrpDbgServer", 0, printParameters},
    {"mvrpDbgSockInit", 0, printParameters},
}};

}  // namespace

const std::span<const ShellFunc> gMvrpShellMap = kFunctions;

namespace platform {
namespace {

class Shell : public testing::Test {
  protected:
    Shell() { procShellInit("mvrp", 0, 0); }
    ~Shell() override { processRuntime().shellReady = false; }
};

TEST_F(Shell, NothingCanBeCalledBeforeItIsInitialised) {
    processRuntime().shellReady = false;
    EXPECT_FALSE(shellCall("printParameters", {}, 100));
    EXPECT_EQ(shellNames(), "");
}

TEST_F(Shell, AFunctionIsCalledByNameAndItsOutputComesBack) {
    testing::internal::CaptureStdout();
    const auto result = shellCall("printParameters", {1, 2, 3}, 100);
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->value, 6U);
    EXPECT_EQ(result->text, "got 1 2 3\n\r");
}

TEST_F(Shell, UnknownNamesAndTheFunctionThatWouldWaitAreRefused) {
    EXPECT_FALSE(shellCall("noSuchFunction", {}, 100));
    EXPECT_FALSE(shellCall("", {}, 100));
    EXPECT_FALSE(shellCall("mvrpDbgServer", {}, 100));
    EXPECT_FALSE(shellCall("mvrpDbgSockInit", {}, 100));
}

TEST_F(Shell, TheNamesAreListed) {
    EXPECT_EQ(shellNames(), "printParameters\nlockStatus\n");
}

TEST_F(Shell, AFunctionRunsWithTheDaemonsLockHeld) {
    gSem = silCreateMSem(0);
    const auto result = shellCall("lockStatus", {}, 100);
    ASSERT_TRUE(result);
    EXPECT_NE(result->value, 0U);
    EXPECT_EQ(silTakeSem(gSem, 0), 0U);
    silDeleteSem(gSem);
}

}  // namespace
}  // namespace platform
