// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <csignal>
#include <string>
#include <thread>

#include "platform/contract/qor_hwil.h"
#include "platform/contract/sil.h"
#include "platform/runtime/tasks/start_gate.h"
#include "tests/asleep.h"

namespace platform {
namespace {

struct Seen {
    std::atomic<bool> done{false};
    std::string name;
    std::size_t stackBytes = 0;
    bool holdsTerm = false;
    bool holdsCrash = true;
};

void look(void* argument) {
    auto& seen = *static_cast<Seen*>(argument);
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    seen.name = name.data();
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &seen.stackBytes);
    pthread_attr_destroy(&attributes);
    sigset_t held;
    pthread_sigmask(SIG_SETMASK, nullptr, &held);
    seen.holdsTerm = sigismember(&held, SIGTERM) == 1;
    seen.holdsCrash = sigismember(&held, SIGSEGV) == 1;
    seen.done = true;
}

void await(const std::atomic<bool>& condition) {
    while (!condition)
        std::this_thread::yield();
}

TEST(Task, RunsUnderItsNameWithTheStackAskedFor) {
    constexpr u32 kStack = 3 * 1024 * 1024;
    Seen seen;
    u32 taskId = 0;
    ASSERT_EQ(silCreateTask("mvrptask", 50, kStack, look, &seen, 0, &taskId), 0U);
    await(seen.done);
    EXPECT_EQ(seen.name, "mvrptask");
    EXPECT_GE(seen.stackBytes, kStack);
    EXPECT_NE(taskId, 0U);
}

TEST(Task, LeavesTheSignalsOfTheProcessAloneButNotItsOwn) {
    Seen seen;
    ASSERT_EQ(silCreateTask("a task with a very long name", 0, 0, look, &seen, 0, nullptr), 0U);
    await(seen.done);
    EXPECT_EQ(seen.name, "a task with a v");
    EXPECT_TRUE(seen.holdsTerm);
    EXPECT_FALSE(seen.holdsCrash);
}

TEST(Task, NeedsAnEntry) {
    EXPECT_NE(silCreateTask("none", 0, 0, nullptr, nullptr, 0, nullptr), 0U);
}

TEST(Task, BeginsWhenTheDaemonsStartUpIsOver) {
    Seen seen;
    closeStartGate();
    ASSERT_EQ(silCreateTask("late", 0, 0, look, &seen, 0, nullptr), 0U);
    EXPECT_TRUE(awaitCondition([] {
        const pid_t thread = threadNamed("late");
        return thread != 0 && isAsleep(thread);
    }));
    EXPECT_FALSE(seen.done);
    u32 protocol = 32;
    qorHwilScalarSet(0, kHwilScalarProtocol, &protocol, 0);
    await(seen.done);
}

}  // namespace
}  // namespace platform
