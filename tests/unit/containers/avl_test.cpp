// SPDX-License-Identifier: MIT
//
// The AVL tree against std::map, over random operations, with its invariants checked after each.
#include "platform/contract/avl.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <random>
#include <vector>

namespace {

struct Record {
    u64 payload;
    AvlNode link;
    u32 key;
    u32 pad;
};

int compareRecords(const void* a, const void* b) {
    const u32 left = static_cast<const Record*>(a)->key;
    const u32 right = static_cast<const Record*>(b)->key;
    return left < right ? -1 : left > right ? 1 : 0;
}

const AvlNode* follow(const AvlNode* node, s32 link) {
    return link == 0 ? nullptr
                     : reinterpret_cast<const AvlNode*>(reinterpret_cast<const u8*>(node) +
                                                        std::ptrdiff_t{link} * 8);
}

/// Height of the subtree; fails the test where a balance or a parent link is wrong.
int checkedHeight(const AvlNode* node, const AvlNode* parent) {
    if (node == nullptr)
        return 0;
    EXPECT_EQ(follow(node, node->parent), parent);
    const int left = checkedHeight(follow(node, node->left), node);
    const int right = checkedHeight(follow(node, node->right), node);
    EXPECT_EQ(node->balance, right - left);
    EXPECT_LE(std::abs(right - left), 1);
    return 1 + std::max(left, right);
}

class Avl : public testing::Test {
  protected:
    Avl() : records_(kRecords) {
        avl_create(&tree_, compareRecords, sizeof(Record), offsetof(Record, link));
        for (u32 index = 0; index < kRecords; index++)
            records_[index].key = index * 3;
    }

    void expectSameAsModel() {
        checkedHeight(tree_.root, nullptr);
        EXPECT_EQ(tree_.count, model_.size());
        const void* walked = avl_first(&tree_);
        const void* last = nullptr;
        for (const auto& [key, record] : model_) {
            ASSERT_EQ(walked, record);
            last = walked;
            walked = avl_walk(&tree_, walked, 1);
        }
        EXPECT_EQ(walked, nullptr);
        for (auto entry = model_.rbegin(); entry != model_.rend(); ++entry) {
            ASSERT_EQ(last, entry->second);
            last = avl_walk(&tree_, last, -1);
        }
        EXPECT_EQ(last, nullptr);
    }

    static constexpr u32 kRecords = 300;
    std::vector<Record> records_;
    AvlTree tree_{};
    std::map<u32, Record*> model_;
};

TEST_F(Avl, AnEmptyTreeHasNoFirstRecordAndFindsNothing) {
    EXPECT_TRUE(avl_is_empty(&tree_));
    EXPECT_EQ(avl_first(&tree_), nullptr);
    AvlIndex where{};
    EXPECT_EQ(avl_find(&tree_, &records_[0], &where), nullptr);
    EXPECT_EQ(where.node, nullptr);
}

TEST_F(Avl, FindNeedsNoPlaceToTellWhereItEnded) {
    avl_add(&tree_, &records_[1]);
    EXPECT_EQ(avl_find(&tree_, &records_[1], nullptr), &records_[1]);
    EXPECT_EQ(avl_find(&tree_, &records_[2], nullptr), nullptr);
}

TEST_F(Avl, ARecordEqualToOnePresentIsNotAdded) {
    Record twin{};
    twin.key = records_[7].key;
    avl_add(&tree_, &records_[7]);
    avl_add(&tree_, &twin);
    EXPECT_EQ(tree_.count, 1U);
    EXPECT_EQ(avl_find(&tree_, &twin, nullptr), &records_[7]);
}

TEST_F(Avl, AscendingAndDescendingInsertionStayBalanced) {
    for (u32 index = 0; index < kRecords; index += 2) {
        const std::array both = {index, kRecords - 1 - index};
        for (const u32 chosen : both) {
            avl_add(&tree_, &records_[chosen]);
            model_.emplace(records_[chosen].key, &records_[chosen]);
        }
    }
    expectSameAsModel();
    EXPECT_LE(checkedHeight(tree_.root, nullptr), 12);  // 1.44 log2(300) is 11.9
}

TEST_F(Avl, RandomOperationsAgreeWithAMap) {
    std::mt19937 random(20260101);
    for (int step = 0; step < 6000; step++) {
        Record& record = records_[random() % kRecords];
        const bool grow = (step / 700) % 2 == 0;
        const bool present = avl_find(&tree_, &record, nullptr) != nullptr;
        ASSERT_EQ(present, model_.contains(record.key));
        if (present && (!grow || random() % 3 == 0)) {
            avl_remove(&tree_, &record);
            model_.erase(record.key);
        } else {
            avl_add(&tree_, &record);
            model_.emplace(record.key, &record);
        }
        if (step % 16 == 0)
            expectSameAsModel();
        ASSERT_FALSE(HasFailure()) << "step " << step;
    }
}

TEST_F(Avl, TakingOutTheFirstRecordUntilTheTreeIsEmptyVisitsAllInOrder) {
    for (u32 index = 0; index < kRecords; index++)
        avl_add(&tree_, &records_[(index * 7) % kRecords]);
    u32 expected = 0;
    while (!avl_is_empty(&tree_)) {
        auto* first = static_cast<Record*>(avl_first(&tree_));
        ASSERT_EQ(first->key, expected);
        expected += 3;
        avl_remove(&tree_, first);
    }
    EXPECT_EQ(expected, kRecords * 3);
}

TEST_F(Avl, ARecordCanBeAddedAgainAfterItWasRemoved) {
    avl_add(&tree_, &records_[0]);
    avl_add(&tree_, &records_[1]);
    avl_remove(&tree_, &records_[0]);
    EXPECT_EQ(records_[0].link.parent, 0);
    avl_add(&tree_, &records_[0]);
    EXPECT_EQ(avl_first(&tree_), &records_[0]);
}

}  // namespace
