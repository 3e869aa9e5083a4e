// SPDX-License-Identifier: MIT
//
// The contract's timers on the monotonic clock. Order and bounds are tested with timers that are
// due at once; that time passes at all is awaited, not measured.
#include "platform/runtime/tasks/timer.h"

#include <gtest/gtest.h>

#include <deque>
#include <thread>
#include <vector>

#include "platform/containers/timer_heap.h"
#include "platform/contract/sil.h"

namespace platform {
namespace {

constexpr u32 kLongMs = 3'600'000;

struct Probe {
    SilTimerList* list = nullptr;
    SilTimerNode node{};
    std::vector<int>* log = nullptr;
    int name = 0;
    u32 fired = 0;
};

u32 note(void* argument) {
    auto* probe = static_cast<Probe*>(argument);
    probe->fired++;
    if (probe->log != nullptr)
        probe->log->push_back(probe->name);
    return 0;
}

u32 rearmAtOnce(void* argument) {
    auto* probe = static_cast<Probe*>(argument);
    probe->fired++;
    return silTimerStart(probe->list, &probe->node, 0, 0, rearmAtOnce, probe, nullptr, nullptr);
}

class Timer : public testing::Test {
  protected:
    Timer() { silTimerListInit(&list_); }
    ~Timer() override { timerHeapDestroy(list_); }

    void start(Probe& probe, u32 ms, SilTimerHandler handler = note) {
        probe.list = &list_;
        ASSERT_EQ(silTimerStart(&list_, &probe.node, 0, ms, handler, &probe, nullptr, nullptr), 0U);
    }

    void checkUntil(const Probe& probe, u32 times) {
        while (probe.fired < times) {
            silTimerListCheck(&list_);
            std::this_thread::yield();
        }
    }

    /// A probe that outlives the list, whose destruction touches the nodes it holds.
    Probe& probe() { return probes_.emplace_back(); }

    std::deque<Probe> probes_;
    SilTimerList list_{};
};

TEST_F(Timer, AnEmptyListHasNoNextTimeout) {
    EXPECT_LT(silTimerListNextTimeout(&list_), 0);
}

TEST_F(Timer, ARunningTimerTellsWhatIsLeftAndAnIdleOneNothing) {
    Probe& only = probe();
    EXPECT_EQ(silTimerRemain(&list_, &only.node), 0U);
    start(only, kLongMs);
    EXPECT_LE(silTimerRemain(&list_, &only.node), kLongMs);
    EXPECT_GT(silTimerRemain(&list_, &only.node), kLongMs / 2);
    EXPECT_GT(silTimerListNextTimeout(&list_), static_cast<s32>(kLongMs / 2));
    silTimerStop(&list_, &only.node);
    EXPECT_EQ(silTimerRemain(&list_, &only.node), 0U);
    EXPECT_LT(silTimerListNextTimeout(&list_), 0);
}

TEST_F(Timer, ATimeoutBeyond31BitsIsCut) {
    Probe& only = probe();
    start(only, 0xFFFFFFFFU);
    EXPECT_EQ(silTimerListNextTimeout(&list_), INT32_MAX);
}

TEST_F(Timer, AnOverdueTimerMakesTheNextTimeoutZero) {
    Probe& only = probe();
    start(only, 0);
    EXPECT_EQ(silTimerListNextTimeout(&list_), 0);
}

TEST_F(Timer, ATimerFiresOnceAndOnlyWhenItIsDue) {
    Probe& soon = probe();
    Probe& late = probe();
    start(late, kLongMs);
    start(soon, 5);
    checkUntil(soon, 1);
    silTimerListCheck(&list_);
    EXPECT_EQ(soon.fired, 1U);
    EXPECT_EQ(late.fired, 0U);
}

TEST_F(Timer, TimersDueTogetherRunInTheOrderOfStarting) {
    std::vector<int> log;
    for (int index = 0; index < 20; index++) {
        Probe& each = probe();
        each.log = &log;
        each.name = index;
        start(each, 0);
    }
    checkUntil(probes_.back(), 1);
    for (int index = 0; index < 20; index++)
        EXPECT_EQ(log[static_cast<std::size_t>(index)], index);
}

TEST_F(Timer, ATimerThatAHandlerStartsAtZeroRunsInTheSameCheckWhichIsBounded) {
    Probe& only = probe();
    start(only, 0, rearmAtOnce);
    silTimerListCheck(&list_);
    EXPECT_EQ(only.fired, kMaxHandlersPerCheck);
    EXPECT_TRUE(timerRunning(only.node));
    silTimerListCheck(&list_);
    EXPECT_EQ(only.fired, 2 * kMaxHandlersPerCheck);
}

TEST_F(Timer, ATimerWithoutAHandlerJustExpires) {
    Probe& only = probe();
    start(only, 0, nullptr);
    silTimerListCheck(&list_);
    EXPECT_FALSE(timerRunning(only.node));
}

/// Reads the clock until it has gone on.
void awaitAfter(u64 ms) {
    while (monotonicMs() <= ms)
        std::this_thread::yield();
}

class Moment : public testing::Test {
  protected:
    Moment() : sem_(silCreateMSem(0)) { EXPECT_EQ(silTakeSem(sem_, -1), kStatusOk); }
    ~Moment() override {
        silGiveSem(sem_);
        silDeleteSem(sem_);
    }
    const u32 sem_;
};

TEST_F(Moment, LastsWhileTheLockIsHeld) {
    const u64 began = momentMs();
    awaitAfter(began);
    EXPECT_EQ(momentMs(), began);
}

TEST_F(Moment, EndsWithTheLock) {
    const u64 began = momentMs();
    ASSERT_EQ(silGiveSem(sem_), kStatusOk);
    awaitAfter(began);
    EXPECT_GT(momentMs(), began) << "without a lock there is no moment";
    ASSERT_EQ(silTakeSem(sem_, -1), kStatusOk);
    EXPECT_GT(momentMs(), began);
}

TEST_F(Moment, EndsWhenTheThreadSaysThatItWaited) {
    const u64 began = momentMs();
    awaitAfter(began);
    timePasses();
    EXPECT_GT(momentMs(), began);
}

TEST_F(Moment, EndsAfterSoManyCalls) {
    const u64 began = momentMs();
    awaitAfter(began);
    u32 calls = 1;
    while (momentMs() == began)
        ASSERT_LT(++calls, 1000U);
    EXPECT_EQ(calls, 256U);
}

TEST_F(Moment, OfAThreadThatSaysWhenItWaitsGoesOnOverAFreeLock) {
    std::thread thread([] {
        const u32 other = silCreateMSem(0);
        timePassesAsSaid();
        ASSERT_EQ(silTakeSem(other, -1), kStatusOk);
        const u64 began = momentMs();
        awaitAfter(began);
        ASSERT_EQ(silGiveSem(other), kStatusOk);
        ASSERT_EQ(silTakeSem(other, -1), kStatusOk);
        EXPECT_EQ(momentMs(), began);
        ASSERT_EQ(silGiveSem(other), kStatusOk);
        timePassesAsSaid();
        ASSERT_EQ(silTakeSem(other, -1), kStatusOk);
        EXPECT_GT(momentMs(), began);
        silGiveSem(other);
        silDeleteSem(other);
    });
    thread.join();
}

}  // namespace
}  // namespace platform
