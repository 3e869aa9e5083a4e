// SPDX-License-Identifier: MIT
//
// Circular doubly linked list: a head and the nodes embedded in the records, all of one type.
#pragma once

struct MvrpListNode {
    MvrpListNode* next;
    MvrpListNode* previous;
};

/// Makes `head` an empty list: both of its links point at itself.
inline void mvrpListInit(MvrpListNode* head) {
    head->next = head;
    head->previous = head;
}

inline bool mvrpListEmpty(const MvrpListNode* head) {
    return head->next == head;
}

/// Inserts `node` after `position`, which is the head or a node of the list.
inline void mvrpListInsertAfter(MvrpListNode* position, MvrpListNode* node) {
    node->next = position->next;
    node->previous = position;
    // The list is circular: the analyzer takes the tolerance of mvrpListRemove() for a doubt of
    // that.
    position->next->previous = node;  // NOLINT(clang-analyzer-core.NullDereference)
    position->next = node;
}

/// Unlinks `node` from its neighbours; a neighbour link that is null is left alone.
inline void mvrpListRemove(MvrpListNode* node) {
    if (node->previous != nullptr)
        node->previous->next = node->next;
    if (node->next != nullptr)
        node->next->previous = node->previous;
}
