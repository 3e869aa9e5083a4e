// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/sem.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "platform/contract/sil.h"
#include "platform/runtime/close_hook.h"
#include "tests/asleep.h"

namespace platform {
namespace {

constexpr s32 kForEver = -1;

class SemTest : public testing::Test {
  protected:
    SemTest() : sem_(silCreateMSem(9)) {}
    ~SemTest() override { silDeleteSem(sem_); }

    /// What another thread gets when it does not wait.
    u32 takeElsewhere() const {
        u32 status = 0;
        std::thread([this, &status] {
            status = silTakeSem(sem_, 0);
            if (status == 0)
                silGiveSem(sem_);
        }).join();
        return status;
    }

    u32 sem_;
};

TEST_F(SemTest, IsHeldUntilEachTakeHasItsGive) {
    ASSERT_NE(sem_, 0U);
    EXPECT_EQ(silTakeSem(sem_, kForEver), 0U);
    EXPECT_EQ(silTakeSem(sem_, kForEver), 0U);
    EXPECT_EQ(silGiveSem(sem_), 0U);
    EXPECT_NE(takeElsewhere(), 0U);
    EXPECT_EQ(silGiveSem(sem_), 0U);
    EXPECT_EQ(takeElsewhere(), 0U);
}

TEST_F(SemTest, IsGivenByItsOwnerOnly) {
    EXPECT_NE(silGiveSem(sem_), 0U);
    silTakeSem(sem_, kForEver);
    u32 status = 0;
    std::thread([this, &status] { status = silGiveSem(sem_); }).join();
    EXPECT_NE(status, 0U);
    EXPECT_NE(takeElsewhere(), 0U);
    EXPECT_EQ(silGiveSem(sem_), 0U);
}

TEST_F(SemTest, AWaitEndsWithItsTime) {
    silTakeSem(sem_, kForEver);
    u32 status = 0;
    std::thread([this, &status] { status = silTakeSem(sem_, 10); }).join();
    EXPECT_NE(status, 0U);
    silGiveSem(sem_);
    EXPECT_EQ(takeElsewhere(), 0U);
}

TEST_F(SemTest, WhatTheCallerHoldsCanBeReleasedWhateverItsDepth) {
    EXPECT_EQ(semReleaseHeldByCaller(), 0U);
    for (int depth = 0; depth < 3; depth++)
        silTakeSem(sem_, kForEver);
    EXPECT_EQ(semReleaseHeldByCaller(), 3U);
    EXPECT_EQ(takeElsewhere(), 0U);
    EXPECT_EQ(semReleaseHeldByCaller(), 0U);
}

TEST_F(SemTest, WhatAnotherThreadHoldsIsNotReleased) {
    silTakeSem(sem_, kForEver);
    u32 released = 1;
    std::thread([&released] { released = semReleaseHeldByCaller(); }).join();
    EXPECT_EQ(released, 0U);
    EXPECT_EQ(silGiveSem(sem_), 0U);
}

TEST_F(SemTest, DeletingItWakesThoseThatWaitWithAFailure) {
    silTakeSem(sem_, kForEver);
    std::atomic<u32> status{0};
    std::atomic<bool> begun{false};
    std::thread waiter([&] {
        begun = true;
        status = silTakeSem(sem_, kForEver);
    });
    while (!begun)
        std::this_thread::yield();
    silDeleteSem(sem_);
    waiter.join();
    EXPECT_NE(status, 0U);
    EXPECT_NE(silTakeSem(sem_, 0), 0U);
}

TEST_F(SemTest, UnknownNumbersAreRefused) {
    for (const u32 unknown : {0U, kMaxSems + 1, 0xFFFFFFFFU}) {
        EXPECT_NE(silTakeSem(unknown, 0), 0U);
        EXPECT_NE(silGiveSem(unknown), 0U);
        EXPECT_NE(silDeleteSem(unknown), 0U);
    }
}

TEST_F(SemTest, RunningOutOfMutexesIsReported) {
    std::vector<u32> all;
    for (u32 sem = silCreateMSem(0); sem != 0; sem = silCreateMSem(0))
        all.push_back(sem);
    EXPECT_EQ(all.size(), kMaxSems - 1);
    for (const u32 sem : all)
        EXPECT_EQ(silDeleteSem(sem), 0U);
}

TEST_F(SemTest, HoldingAllKeepsOthersOutAndNestsInWhatTheCallerHolds) {
    silTakeSem(sem_, kForEver);
    {
        const SemHoldAll all;
        EXPECT_EQ(silTakeSem(sem_, kForEver), 0U);
        EXPECT_EQ(silGiveSem(sem_), 0U);
    }
    EXPECT_NE(takeElsewhere(), 0U);
    EXPECT_EQ(silGiveSem(sem_), 0U);
    {
        const SemHoldAll all;
        EXPECT_NE(takeElsewhere(), 0U);
    }
    EXPECT_EQ(takeElsewhere(), 0U);
}

TEST_F(SemTest, AHookOfTheDebugThreadTakesAllUntilTheyAreReleased) {
    setCloseHook(semTakeAll);
    runCloseHook();
    EXPECT_NE(takeElsewhere(), 0U);
    EXPECT_EQ(semReleaseHeldByCaller(), 1U);
    setCloseHook(nullptr);
    runCloseHook();
    EXPECT_EQ(takeElsewhere(), 0U);
}

TEST_F(SemTest, KeepsAPlainCounterRightAmongManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 5000;
    int counter = 0;
    std::array<std::thread, kThreads> threads;
    for (auto& thread : threads)
        thread = std::thread([this, &counter] {
            for (int round = 0; round < kRounds; round++) {
                silTakeSem(sem_, kForEver);
                counter++;
                silGiveSem(sem_);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, kThreads * kRounds);
}

TEST_F(SemTest, AThreadThatTakesItAgainAtOnceDoesNotOvertakeOneThatWaits) {
    silTakeSem(sem_, kForEver);
    std::atomic<pid_t> thread{0};
    std::atomic<bool> served{false};
    std::thread waiter([&] {
        thread = gettid();
        silTakeSem(sem_, kForEver);
        served = true;
        silGiveSem(sem_);
    });
    // Only when it waits at the mutex does giving and taking again have to let it in.
    EXPECT_TRUE(awaitCondition([&] { return thread != 0 && isAsleep(thread); }));
    silGiveSem(sem_);
    silTakeSem(sem_, kForEver);
    EXPECT_TRUE(served);
    silGiveSem(sem_);
    waiter.join();
}

/// Counts how often it is finished, and whether that was with the mutex held.
class CountedWork final : public PutOffWork {
  public:
    CountedWork() { setPutOffWork(this); }
    ~CountedWork() { setPutOffWork(nullptr); }
    CountedWork(const CountedWork&) = delete;
    CountedWork& operator=(const CountedWork&) = delete;
    CountedWork(CountedWork&&) = delete;
    CountedWork& operator=(CountedWork&&) = delete;
    void finish() override {
        ++finished;
        heldAlways = heldAlways && semHeldByCaller();
    }
    u32 finished = 0;
    bool heldAlways = true;
};

TEST_F(SemTest, PutOffWorkIsFinishedBeforeTheMutexIsGivenBack) {
    CountedWork work;
    silTakeSem(sem_, kForEver);
    EXPECT_EQ(work.finished, 0U);
    silGiveSem(sem_);
    EXPECT_EQ(work.finished, 1U);
    EXPECT_TRUE(work.heldAlways);
    EXPECT_FALSE(semHeldByCaller());
}

TEST_F(SemTest, PutOffWorkIsFinishedBeforeAllMutexesAreReleasedAtOnce) {
    CountedWork work;
    silTakeSem(sem_, kForEver);
    silTakeSem(sem_, kForEver);
    EXPECT_EQ(semReleaseHeldByCaller(), 2U);
    EXPECT_EQ(work.finished, 1U);
    EXPECT_TRUE(work.heldAlways);
    EXPECT_EQ(semReleaseHeldByCaller(), 0U);
    EXPECT_EQ(work.finished, 1U) << "who holds nothing has put nothing off";
}

}  // namespace
}  // namespace platform
