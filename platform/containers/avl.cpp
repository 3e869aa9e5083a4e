// SPDX-License-Identifier: MIT
//
// The contract's AVL tree. Everything is a loop: depth is bounded by the links themselves, and a
// walk needs neither a stack nor memory. Links are relative, so a node's links are rewritten
// whenever the node at one of their ends changes place in the tree, never when a record is copied.
#include "platform/contract/avl.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

constexpr std::ptrdiff_t kLinkUnit = 8;  // bytes
constexpr int kLeft = -1;
constexpr int kRight = 1;

AvlNode* follow(const AvlNode* from, s32 link) {
    if (link == 0)
        return nullptr;
    const auto address =
        reinterpret_cast<std::intptr_t>(from) + static_cast<std::intptr_t>(link) * kLinkUnit;
    // Not by pointer arithmetic: nodes may lie in different objects.
    return reinterpret_cast<AvlNode*>(address);  // NOLINT(performance-no-int-to-ptr)
}

s32 linkTo(const AvlNode* from, const AvlNode* to) {
    if (to == nullptr)
        return 0;
    const auto distance =
        reinterpret_cast<std::intptr_t>(to) - reinterpret_cast<std::intptr_t>(from);
    return static_cast<s32>(distance / kLinkUnit);
}

AvlNode* parentOf(const AvlNode* node) {
    return follow(node, node->parent);
}

AvlNode* childOf(const AvlNode* node, int side) {
    return follow(node, side == kLeft ? node->left : node->right);
}

/// Makes `child`, which may be null, the child of `node` on that side, and `node` its parent.
void attach(AvlNode* node, int side, AvlNode* child) {
    (side == kLeft ? node->left : node->right) = linkTo(node, child);
    if (child != nullptr)
        child->parent = linkTo(child, node);
}

int sideOf(const AvlNode* parent, const AvlNode* node) {
    return childOf(parent, kLeft) == node ? kLeft : kRight;
}

/// Puts `successor`, which may be null, in the place that `node` has below its parent.
void replaceBelowParent(AvlTree* tree, const AvlNode* node, AvlNode* successor) {
    AvlNode* parent = parentOf(node);
    if (parent != nullptr) {
        attach(parent, sideOf(parent, node), successor);
        return;
    }
    tree->root = successor;
    if (successor != nullptr)
        successor->parent = 0;
}

/// Moves `node` one level down towards `side`; its other child takes its place.
/// @return that child
AvlNode* rotate(AvlTree* tree, AvlNode* node, int side) {
    AvlNode* riser = childOf(node, -side);
    if (riser == nullptr)
        return node;  // never: the heavier side has a child
    replaceBelowParent(tree, node, riser);
    attach(node, -side, childOf(riser, side));
    attach(riser, side, node);

    // Heights after the turn, in terms of the balances before it.
    if (side == kLeft) {
        node->balance += -1 - std::max(riser->balance, 0);
        riser->balance += -1 + std::min(node->balance, 0);
    } else {
        node->balance += 1 - std::min(riser->balance, 0);
        riser->balance += 1 + std::max(node->balance, 0);
    }
    return riser;
}

/// Restores a node whose balance is 2 or -2. @return the node now at the top
AvlNode* rebalance(AvlTree* tree, AvlNode* node) {
    const int heavy = node->balance > 0 ? kRight : kLeft;
    AvlNode* child = childOf(node, heavy);
    if (child->balance == -heavy)
        rotate(tree, child, heavy);
    return rotate(tree, node, -heavy);
}

/// The subtree below `parent` on `side` has grown by one level.
void retraceGrown(AvlTree* tree, AvlNode* parent, int side) {
    while (parent != nullptr) {
        parent->balance += side;
        if (parent->balance == 0)
            return;
        if (parent->balance == 2 || parent->balance == -2) {
            rebalance(tree, parent);
            return;
        }
        AvlNode* above = parentOf(parent);
        if (above != nullptr)
            side = sideOf(above, parent);
        parent = above;
    }
}

/// The subtree below `parent` on `side` has shrunk by one level.
void retraceShrunk(AvlTree* tree, AvlNode* parent, int side) {
    while (parent != nullptr) {
        parent->balance -= side;
        if (parent->balance == 1 || parent->balance == -1)
            return;
        AvlNode* top = parent->balance == 0 ? parent : rebalance(tree, parent);
        if (top->balance != 0)
            return;
        AvlNode* above = parentOf(top);
        if (above != nullptr)
            side = sideOf(above, top);
        parent = above;
    }
}

AvlNode* outermost(AvlNode* node, int side) {
    for (AvlNode* next = childOf(node, side); next != nullptr; next = childOf(node, side))
        node = next;
    return node;
}

/// Takes out a node with two children: its neighbour to the right takes its place.
void removeInner(AvlTree* tree, AvlNode* node) {
    AvlNode* heir = outermost(childOf(node, kRight), kLeft);
    AvlNode* shrunk = parentOf(heir);
    if (shrunk == nullptr)
        return;  // never: the heir lies below the node
    const int shrunkSide = sideOf(shrunk, heir);
    attach(shrunk, shrunkSide, childOf(heir, kRight));

    heir->balance = node->balance;
    replaceBelowParent(tree, node, heir);
    attach(heir, kLeft, childOf(node, kLeft));
    attach(heir, kRight, childOf(node, kRight));
    retraceShrunk(tree, shrunk == node ? heir : shrunk, shrunkSide);
}

/// Takes out a node with at most one child.
void removeOuter(AvlTree* tree, const AvlNode* node) {
    AvlNode* parent = parentOf(node);
    const int side = parent != nullptr ? sideOf(parent, node) : kLeft;
    AvlNode* left = childOf(node, kLeft);
    replaceBelowParent(tree, node, left != nullptr ? left : childOf(node, kRight));
    retraceShrunk(tree, parent, side);
}

void* recordOf(const AvlTree* tree, AvlNode* node) {
    return node == nullptr ? nullptr : reinterpret_cast<u8*>(node) - tree->linkOffset;
}

const AvlNode* nodeOf(const AvlTree* tree, const void* record) {
    return reinterpret_cast<const AvlNode*>(static_cast<const u8*>(record) + tree->linkOffset);
}

AvlNode* nodeOf(const AvlTree* tree, void* record) {
    return reinterpret_cast<AvlNode*>(static_cast<u8*>(record) + tree->linkOffset);
}

}  // namespace

void avl_create(AvlTree* tree, AvlCompare compare, u32 recordSize, u32 linkOffset) {
    *tree = AvlTree{nullptr, compare, recordSize, linkOffset, 0};
}

void* avl_find(AvlTree* tree, const void* key, AvlIndex* where) {
    AvlIndex last{nullptr, 0};
    AvlNode* node = tree->root;
    while (node != nullptr) {
        const int order = tree->compare(key, recordOf(tree, node));
        last = {node, order < 0 ? kLeft : order > 0 ? kRight : 0};
        if (order == 0)
            break;
        node = childOf(node, last.side);
    }
    if (where != nullptr)
        *where = last;
    return recordOf(tree, node);
}

void avl_add(AvlTree* tree, void* record) {
    AvlIndex where{};
    if (avl_find(tree, record, &where) != nullptr)
        return;
    AvlNode* node = nodeOf(tree, record);
    *node = AvlNode{};
    tree->count++;
    if (where.node == nullptr) {
        tree->root = node;
        return;
    }
    attach(where.node, where.side, node);
    retraceGrown(tree, where.node, where.side);
}

void avl_remove(AvlTree* tree, void* record) {
    AvlNode* node = nodeOf(tree, record);
    if (node->left != 0 && node->right != 0)
        removeInner(tree, node);
    else
        removeOuter(tree, node);
    *node = AvlNode{};
    tree->count--;
}

void* avl_first(AvlTree* tree) {
    return tree->root == nullptr ? nullptr : recordOf(tree, outermost(tree->root, kLeft));
}

void* avl_walk(AvlTree* tree, const void* record, int direction) {
    const int side = direction < 0 ? kLeft : kRight;
    const AvlNode* node = nodeOf(tree, record);
    AvlNode* below = childOf(node, side);
    if (below != nullptr)
        return recordOf(tree, outermost(below, -side));
    AvlNode* parent = parentOf(node);
    while (parent != nullptr && sideOf(parent, node) == side) {
        node = parent;
        parent = parentOf(node);
    }
    return recordOf(tree, parent);
}

bool avl_is_empty(const AvlTree* tree) {
    return tree->root == nullptr;
}
