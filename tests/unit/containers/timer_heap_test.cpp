// SPDX-License-Identifier: MIT
//
// The timer heap against an ordered map of {due time, order of starting}.
#include "platform/containers/timer_heap.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <utility>
#include <vector>

namespace platform {
namespace {

u32 ignore(void*) {
    return 0;
}

class TimerHeap : public testing::Test {
  protected:
    void SetUp() override { timerHeapInit(list_); }
    void TearDown() override { timerHeapDestroy(list_); }

    void start(SilTimerNode& node, u64 dueMs) {
        ASSERT_TRUE(timerHeapStart(list_, node, dueMs, ignore, nullptr));
    }

    SilTimerList list_{};
};

TEST_F(TimerHeap, ANodeThatIsAllZeroIsIdleAndCanBeStopped) {
    SilTimerNode node{};
    EXPECT_FALSE(timerRunning(node));
    EXPECT_FALSE(timerHeapStop(list_, node));
    EXPECT_EQ(timerHeapEarliest(list_).node, nullptr);
}

TEST_F(TimerHeap, EqualDueTimesLeaveInTheOrderOfStarting) {
    std::vector<SilTimerNode> nodes(50);
    for (auto& node : nodes)
        start(node, 10);
    for (auto& node : nodes)
        EXPECT_EQ(timerHeapPopDue(list_, 10).node, &node);
}

TEST_F(TimerHeap, ARestartTakesTheNewDueTimeAndTheLastPlaceAmongEquals) {
    SilTimerNode first{};
    SilTimerNode second{};
    start(first, 10);
    start(second, 10);
    start(first, 10);
    EXPECT_EQ(list_.used, 2U);
    EXPECT_EQ(timerHeapPopDue(list_, 10).node, &second);
    EXPECT_EQ(timerHeapPopDue(list_, 10).node, &first);
    start(first, 90);
    start(first, 20);
    EXPECT_EQ(timerHeapDue(list_, first), 20U);
    timerHeapDestroy(list_);  // before its nodes go
}

TEST_F(TimerHeap, NothingLeavesBeforeItIsDueAndANodeThatLeftIsIdle) {
    SilTimerNode node{};
    start(node, 100);
    EXPECT_EQ(timerHeapPopDue(list_, 99).node, nullptr);
    EXPECT_TRUE(timerRunning(node));
    EXPECT_EQ(timerHeapPopDue(list_, 100).node, &node);
    EXPECT_FALSE(timerRunning(node));
}

TEST_F(TimerHeap, DestroyingTheListLeavesItsNodesIdle) {
    SilTimerNode node{};
    start(node, 1);
    timerHeapDestroy(list_);
    EXPECT_FALSE(timerRunning(node));
}

TEST_F(TimerHeap, RandomOperationsAgreeWithAnOrderedMap) {
    constexpr u32 kNodes = 400;
    std::mt19937 random(7);
    std::vector<SilTimerNode> nodes(kNodes);
    std::map<std::pair<u64, u64>, SilTimerNode*> model;
    std::map<SilTimerNode*, std::pair<u64, u64>> keys;
    u64 order = 0;
    u64 now = 0;
    const auto forget = [&](SilTimerNode* node) {
        model.erase(keys.at(node));
        keys.erase(node);
    };
    for (int step = 0; step < 20000; step++) {
        SilTimerNode& node = nodes[random() % kNodes];
        ASSERT_EQ(timerRunning(node), keys.contains(&node));
        const auto choice = random() % 10;
        if (choice < 5) {
            if (keys.contains(&node))
                forget(&node);
            const std::pair key{now + random() % 300, order++};
            start(node, key.first);
            model.emplace(key, &node);
            keys.emplace(&node, key);
        } else if (choice < 7) {
            ASSERT_EQ(timerHeapStop(list_, node), keys.contains(&node));
            if (keys.contains(&node))
                forget(&node);
        } else {
            now += random() % 20;
            for (auto due = timerHeapPopDue(list_, now); due.node != nullptr;
                 due = timerHeapPopDue(list_, now)) {
                ASSERT_EQ(due.node, model.begin()->second);
                ASSERT_EQ(due.dueMs, model.begin()->first.first);
                forget(due.node);
            }
            ASSERT_TRUE(model.empty() || model.begin()->first.first > now);
        }
        ASSERT_EQ(list_.used, model.size());
    }
    timerHeapDestroy(list_);  // before its nodes go
}

}  // namespace
}  // namespace platform
