// SPDX-License-Identifier: MIT
//
// The contract's timers on the monotonic clock. Order and bounds are tested with timers that are
// due at once; that time passes at all is awaited, not measured.
#include "platform/runtime/timer.h"

#include <gtest/gtest.h>

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

    SilTimerList list_{};
};

TEST_F(Timer, AnEmptyListHasNoNextTimeout) {
    EXPECT_LT(silTimerListNextTimeout(&list_), 0);
}

TEST_F(Timer, ARunningTimerTellsWhatIsLeftAndAnIdleOneNothing) {
    Probe probe;
    EXPECT_EQ(silTimerRemain(&list_, &probe.node), 0U);
    start(probe, kLongMs);
    EXPECT_LE(silTimerRemain(&list_, &probe.node), kLongMs);
    EXPECT_GT(silTimerRemain(&list_, &probe.node), kLongMs / 2);
    EXPECT_GT(silTimerListNextTimeout(&list_), static_cast<s32>(kLongMs / 2));
    silTimerStop(&list_, &probe.node);
    EXPECT_EQ(silTimerRemain(&list_, &probe.node), 0U);
    EXPECT_LT(silTimerListNextTimeout(&list_), 0);
}

TEST_F(Timer, ATimeoutBeyond31BitsIsCut) {
    Probe probe;
    start(probe, 0xFFFFFFFFU);
    EXPECT_EQ(silTimerListNextTimeout(&list_), INT32_MAX);
}

TEST_F(Timer, AnOverdueTimerMakesTheNextTimeoutZero) {
    Probe probe;
    start(probe, 0);
    EXPECT_EQ(silTimerListNextTimeout(&list_), 0);
}

TEST_F(Timer, ATimerFiresOnceAndOnlyWhenItIsDue) {
    Probe soon;
    Probe late;
    start(late, kLongMs);
    start(soon, 5);
    checkUntil(soon, 1);
    silTimerListCheck(&list_);
    EXPECT_EQ(soon.fired, 1U);
    EXPECT_EQ(late.fired, 0U);
}

TEST_F(Timer, TimersDueTogetherRunInTheOrderOfStarting) {
    std::vector<int> log;
    std::vector<Probe> probes(20);
    for (int index = 0; index < 20; index++) {
        probes[static_cast<std::size_t>(index)].log = &log;
        probes[static_cast<std::size_t>(index)].name = index;
        start(probes[static_cast<std::size_t>(index)], 0);
    }
    checkUntil(probes.back(), 1);
    for (int index = 0; index < 20; index++)
        EXPECT_EQ(log[static_cast<std::size_t>(index)], index);
}

TEST_F(Timer, ATimerThatAHandlerStartsAtZeroRunsInTheSameCheckWhichIsBounded) {
    Probe probe;
    start(probe, 0, rearmAtOnce);
    silTimerListCheck(&list_);
    EXPECT_EQ(probe.fired, kMaxHandlersPerCheck);
    EXPECT_TRUE(timerRunning(probe.node));
    silTimerListCheck(&list_);
    EXPECT_EQ(probe.fired, 2 * kMaxHandlersPerCheck);
}

TEST_F(Timer, ATimerWithoutAHandlerJustExpires) {
    Probe probe;
    start(probe, 0, nullptr);
    silTimerListCheck(&list_);
    EXPECT_FALSE(timerRunning(probe.node));
}

}  // namespace
}  // namespace platform
