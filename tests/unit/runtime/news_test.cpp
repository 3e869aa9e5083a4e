// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/news.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/contract/types.h"
#include "tests/asleep.h"

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kForEver = 1h;

TEST(News, NothingToldIsNothingNew) {
    News news;
    EXPECT_FALSE(news.await(1ms));
    EXPECT_FALSE(news.take());
}

TEST(News, WhatWasToldIsNotWaitedFor) {
    News news;
    news.tell();
    news.tell();
    EXPECT_TRUE(news.await(kForEver));
    EXPECT_TRUE(news.await(kForEver));
    EXPECT_TRUE(news.take());
    EXPECT_FALSE(news.take());
}

TEST(News, AThreadThatWaitsIsWoken) {
    News news;
    std::atomic<bool> told{false};
    std::atomic<pid_t> thread{0};
    std::thread waits([&] {
        thread = gettid();
        thread.notify_one();
        told = news.await(kForEver);
    });
    thread.wait(0);
    EXPECT_TRUE(awaitCondition([&] { return isAsleep(thread); }));
    news.tell();
    waits.join();
    EXPECT_TRUE(told);
}

// What the news are about is read without a lock here, so a thread sanitizer sees whether tell()
// and take() order it; and the last of it is not missed, or the test never ends.
TEST(News, NothingThatWasWrittenBeforeIsMissed) {
    constexpr u32 kLast = 20'000;
    News news;
    std::atomic<u32> written{0};
    std::thread writes([&] {
        for (u32 i = 1; i <= kLast; ++i) {
            written.store(i, std::memory_order_relaxed);
            news.tell();
        }
    });
    for (u32 seen = 0; seen < kLast;) {
        ASSERT_TRUE(news.await(kForEver));
        news.take();
        seen = written.load(std::memory_order_relaxed);
    }
    writes.join();
}

}  // namespace
}  // namespace platform
