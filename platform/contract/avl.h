// SPDX-License-Identifier: MIT
//
// Intrusive AVL tree. Records embed an AvlNode and are owned by the caller; the tree allocates
// nothing. Links are 32-bit distances between nodes, which keeps small records small: all records
// of one tree must lie within 16 GiB of each other, as the items of one memory pool do.
//
// Not locked: the owner serialises every call on a tree.
#pragma once

#include "platform/contract/types.h"

/// Tree link of a record. Distances are from this node, in units of 8 bytes; 0 means none.
struct AvlNode {
    s32 left;
    s32 right;
    s32 parent;
    s32 balance;  ///< height of the right subtree minus that of the left: -1, 0 or 1
};

/// Three-way comparison of two records: -1, 0 or 1.
using AvlCompare = int (*)(const void* a, const void* b);

struct AvlTree {
    AvlNode* root;
    AvlCompare compare;
    u32 recordSize;  ///< bytes
    u32 linkOffset;  ///< bytes from the start of a record to its AvlNode
    u32 count;
};

/// Where a look-up ended: opaque to the caller.
struct AvlIndex {
    AvlNode* node;
    int side;
};

void avl_create(AvlTree* tree, AvlCompare compare, u32 recordSize, u32 linkOffset);
/// @return the record equal to `key`, or null. `where` may be null.
void* avl_find(AvlTree* tree, const void* key, AvlIndex* where);
/// Adds a record that is not in the tree. A record equal to one already present is not added.
void avl_add(AvlTree* tree, void* record);
/// Takes a record of this tree out of it.
void avl_remove(AvlTree* tree, void* record);
/// @return the least record, or null
void* avl_first(AvlTree* tree);
/// @return the neighbour of `record` in order: after it for 1, before it for -1; null at the end
void* avl_walk(AvlTree* tree, const void* record, int direction);
bool avl_is_empty(const AvlTree* tree);
