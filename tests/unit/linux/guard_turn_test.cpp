// SPDX-License-Identifier: MIT
//
// Two daemons at one port: the second waits for the first, and for nobody for ever.
#include "platform/linux/netlink/guard_turn.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

namespace platform::testing {
namespace {

// No interface of a machine that tests run on has such an index.
constexpr u32 kPort = 4'000'000'001U;
constexpr std::chrono::milliseconds kShort{5};
constexpr std::chrono::minutes kLong{1};

TEST(GuardTurn, IsHeldByOneAtATime) {
    const GuardTurn first(kPort);
    EXPECT_TRUE(first.isHeld());
    EXPECT_FALSE(GuardTurn(kPort, kShort).isHeld()) << "its patience is over";
    EXPECT_TRUE(GuardTurn(kPort + 1, kShort).isHeld()) << "another port";
}

TEST(GuardTurn, EndsWithItsHolder) {
    { const GuardTurn first(kPort); }
    EXPECT_TRUE(GuardTurn(kPort, kShort).isHeld());
}

TEST(GuardTurn, WhoWaitsGetsItNext) {
    std::optional<GuardTurn> first(std::in_place, kPort);
    std::atomic<bool> isWaiting = false;
    std::atomic<bool> gotIt = false;
    std::thread second([&] {
        isWaiting = true;
        gotIt = GuardTurn(kPort, kLong).isHeld();
    });
    while (!isWaiting)
        std::this_thread::yield();
    first.reset();
    second.join();
    EXPECT_TRUE(gotIt);
}

}  // namespace
}  // namespace platform::testing
