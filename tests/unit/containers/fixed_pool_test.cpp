// SPDX-License-Identifier: MIT
#include "platform/containers/fixed_pool.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <vector>

namespace platform {
namespace {

class FixedPool : public testing::Test {
  protected:
    void create(u32 count, u32 itemSize) {
        ASSERT_TRUE(fixedPoolInit(pool_, "test", count, itemSize));
    }
    void TearDown() override { fixedPoolDestroy(pool_); }

    SilMemPool pool_{};
};

TEST_F(FixedPool, GivesExactlyItsCountOfDistinctAlignedItems) {
    create(100, 20);
    std::set<u8*> items;
    for (int index = 0; index < 100; index++) {
        auto* item = static_cast<u8*>(fixedPoolAlloc(pool_));
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(item) % 8, 0U);
        std::memset(item, 0xAA, 20);
        items.insert(item);
    }
    EXPECT_EQ(items.size(), 100U);
    EXPECT_EQ(fixedPoolAlloc(pool_), nullptr);
    u8* previous = nullptr;
    for (u8* item : items) {
        EXPECT_TRUE(previous == nullptr || item - previous >= 20);
        previous = item;
    }
}

TEST_F(FixedPool, AnItemComesOutZeroedAlsoAfterItWasUsed) {
    create(2, 24);
    const std::vector<u8> zeros(24, 0);
    for (int round = 0; round < 5; round++) {
        void* item = fixedPoolAlloc(pool_);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(std::memcmp(item, zeros.data(), zeros.size()), 0);
        std::memset(item, 0xFF, 24);
        fixedPoolFree(pool_, item);
    }
}

TEST_F(FixedPool, APoolOfNothingExistsAndIsAlwaysExhausted) {
    create(0, 24);
    EXPECT_NE(pool_.items, nullptr);
    EXPECT_EQ(fixedPoolAlloc(pool_), nullptr);
}

TEST_F(FixedPool, APoolThatDoesNotExistGivesNothingAndCanBeDestroyed) {
    EXPECT_EQ(fixedPoolAlloc(pool_), nullptr);
    fixedPoolDestroy(pool_);
    EXPECT_EQ(pool_.items, nullptr);
}

TEST_F(FixedPool, MoreThanTheAddressSpaceHoldsIsRefusedAndThePoolDoesNotExist) {
    EXPECT_FALSE(fixedPoolInit(pool_, "huge", UINT32_MAX, 0xFFFFFFF0U));
    EXPECT_EQ(pool_.items, nullptr);
    EXPECT_FALSE(fixedPoolInit(pool_, "wide", 1, UINT32_MAX));
    EXPECT_EQ(pool_.items, nullptr);
}

TEST_F(FixedPool, APoolOfMoreThanFourGigabytesTouchesOnlyWhatIsUsed) {
    constexpr u32 kItems = 600'000;  // 5 GB, beyond 32 bits
    if (sizeof(std::size_t) < sizeof(u64)) {
        EXPECT_FALSE(fixedPoolInit(pool_, "beyond", kItems, 8400));
        GTEST_SKIP() << "addresses of 32 bits have no room for it, and it was refused";
    }
    create(kItems, 8400);
    ASSERT_NE(fixedPoolAlloc(pool_), nullptr);
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    u8* last = pool_.items + std::size_t{8400} * 599'999;
    u8* lastPage = last - reinterpret_cast<std::uintptr_t>(last) % page;
    unsigned char resident = 1;
    ASSERT_EQ(mincore(lastPage, page, &resident), 0);
    EXPECT_EQ(resident & 1, 0);
    *last = 1;  // is there all the same
}

TEST_F(FixedPool, APoolThatHeldMuchAndIsEmptyGivesItsPagesBackAndServesOn) {
    constexpr u32 kItems = 200'000;
    create(kItems, 24);
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> resident(std::size_t{kItems} * 24 / page);
    const auto pages = [&] {
        EXPECT_EQ(mincore(pool_.items, resident.size() * page, resident.data()), 0);
        return std::ranges::count_if(resident, [](unsigned char it) { return (it & 1) != 0; });
    };
    std::vector<void*> held(kItems);
    for (int round = 0; round < 2; round++) {
        for (void*& item : held) {
            item = fixedPoolAlloc(pool_);
            ASSERT_NE(item, nullptr);
            u64 content = 0;
            std::memcpy(&content, item, sizeof content);
            ASSERT_EQ(content, 0U);
            std::memset(item, 0xAA, 24);
        }
        EXPECT_EQ(fixedPoolAlloc(pool_), nullptr);
        EXPECT_EQ(pages(), static_cast<std::ptrdiff_t>(resident.size()));
        for (void* item : held)
            fixedPoolFree(pool_, item);
        EXPECT_EQ(pool_.used, 0U);
        EXPECT_EQ(pages(), 0);
    }
}

TEST_F(FixedPool, APoolThatHeldLittleKeepsItsPages) {
    create(100, 24);
    void* item = fixedPoolAlloc(pool_);
    fixedPoolFree(pool_, item);
    EXPECT_EQ(fixedPoolAlloc(pool_), item);
    EXPECT_EQ(pool_.untouched, 1U);
}

TEST_F(FixedPool, RandomUseNeverHandsOutAnItemTwice) {
    constexpr u32 kItems = 64;
    create(kItems, 8);
    std::mt19937 random(3);
    std::vector<void*> held;
    for (int step = 0; step < 20000; step++) {
        if (random() % 2 == 0) {
            void* item = fixedPoolAlloc(pool_);
            ASSERT_EQ(item == nullptr, held.size() == kItems);
            if (item != nullptr) {
                ASSERT_EQ(std::count(held.begin(), held.end(), item), 0);
                held.push_back(item);
            }
        } else if (!held.empty()) {
            std::swap(held[random() % held.size()], held.back());
            fixedPoolFree(pool_, held.back());
            held.pop_back();
        }
        ASSERT_EQ(pool_.used, held.size());
    }
}

}  // namespace
}  // namespace platform
